// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
/**
 * Flips the display for a given number of seconds and does nothing else. It is the baseline for the
 * display loop of the whole application.
 */
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <drm/drm.h>
#include <drm/drm_mode.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

int card = -1;

void Request(unsigned long request, void* record, const char* what) {
    if (::ioctl(card, request, record) != 0) {
        std::perror(what);
        std::_Exit(1);
    }
}

template <typename Value>
std::uint64_t Address(Value* value) {
    return reinterpret_cast<std::uintptr_t>(value);
}

std::uint32_t CreateBuffer(const drm_mode_modeinfo& mode) {
    drm_mode_create_dumb create{};
    create.width = mode.hdisplay;
    create.height = mode.vdisplay;
    create.bpp = 32;
    Request(DRM_IOCTL_MODE_CREATE_DUMB, &create, "buffer");
    drm_mode_fb_cmd buffer{};
    buffer.width = create.width;
    buffer.height = create.height;
    buffer.pitch = create.pitch;
    buffer.bpp = 32;
    buffer.depth = 24;
    buffer.handle = create.handle;
    Request(DRM_IOCTL_MODE_ADDFB, &buffer, "frame buffer");
    return buffer.fb_id;
}

/** Shows the first buffer in the display's first mode; returns the CRTC. */
std::uint32_t SetMode(std::uint32_t (&buffers)[2]) {
    std::uint32_t crtcs[16], connectors[16], encoders[16], framebuffers[16];
    drm_mode_card_res resources{};
    resources.crtc_id_ptr = Address(crtcs);
    resources.connector_id_ptr = Address(connectors);
    resources.encoder_id_ptr = Address(encoders);
    resources.fb_id_ptr = Address(framebuffers);
    resources.count_crtcs = resources.count_connectors = resources.count_encoders =
        resources.count_fbs = 16;
    Request(DRM_IOCTL_MODE_GETRESOURCES, &resources, "resources");
    drm_mode_get_connector connector{};
    connector.connector_id = connectors[0];
    Request(DRM_IOCTL_MODE_GETCONNECTOR, &connector, "connector");
    std::vector<drm_mode_modeinfo> modes(connector.count_modes);
    connector.modes_ptr = Address(modes.data());
    connector.count_props = connector.count_encoders = 0;
    Request(DRM_IOCTL_MODE_GETCONNECTOR, &connector, "modes");
    buffers[0] = CreateBuffer(modes.at(0));
    buffers[1] = CreateBuffer(modes.at(0));
    drm_mode_crtc crtc{};
    crtc.crtc_id = crtcs[0];
    crtc.set_connectors_ptr = Address(connectors);
    crtc.count_connectors = 1;
    crtc.fb_id = buffers[0];
    crtc.mode = modes.at(0);
    crtc.mode_valid = 1;
    Request(DRM_IOCTL_MODE_SETCRTC, &crtc, "mode");
    return crtc.crtc_id;
}

} // namespace

int main(int count, char** arguments) {
    const std::chrono::seconds duration(count == 2 ? std::atoi(arguments[1]) : 60);
    card = ::open("/dev/vantorel/display", O_RDWR | O_CLOEXEC);
    std::uint32_t buffers[2];
    drm_mode_crtc_page_flip flip{};
    flip.crtc_id = SetMode(buffers);
    flip.flags = DRM_MODE_PAGE_FLIP_EVENT;
    const auto end = std::chrono::steady_clock::now() + duration;
    for (unsigned next = 1; std::chrono::steady_clock::now() < end; next ^= 1) {
        flip.fb_id = buffers[next];
        Request(DRM_IOCTL_MODE_PAGE_FLIP, &flip, "flip");
        drm_event_vblank event{};
        if (::read(card, &event, sizeof event) != ssize_t{sizeof event}) {
            return 1;
        }
    }
}
