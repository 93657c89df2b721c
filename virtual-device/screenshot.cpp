// Writes what the display controller scans out at this moment as a PPM picture, while an application
// is the display's master: screenshot CARD FILE
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include <drm/drm.h>
#include <drm/drm_mode.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

[[noreturn]] void Fail(const char* what) {
    std::fprintf(stderr, "screenshot: %s: %s\n", what, std::strerror(errno));
    ::_exit(1);
}

void Ask(int card, unsigned long request, void* record, const char* what) {
    if (::ioctl(card, request, record) != 0) {
        Fail(what);
    }
}

/** The framebuffer on the first CRTC that is lit. */
std::uint32_t VisibleFramebuffer(int card) {
    std::uint32_t crtcs[8] = {};
    drm_mode_card_res resources{};
    resources.crtc_id_ptr = reinterpret_cast<std::uintptr_t>(crtcs);
    resources.count_crtcs = 8;
    Ask(card, DRM_IOCTL_MODE_GETRESOURCES, &resources, "resources");
    drm_mode_crtc crtc{};
    crtc.crtc_id = crtcs[0];
    Ask(card, DRM_IOCTL_MODE_GETCRTC, &crtc, "CRTC");
    return crtc.fb_id;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: screenshot CARD FILE\n");
        return 2;
    }
    const int card = ::open(argv[1], O_RDWR | O_CLOEXEC);
    if (card < 0) {
        Fail(argv[1]);
    }
    ::ioctl(card, DRM_IOCTL_DROP_MASTER, nullptr); // opened first, it would keep the application out
    drm_mode_fb_cmd2 framebuffer{};
    framebuffer.fb_id = VisibleFramebuffer(card);
    if (framebuffer.fb_id == 0) {
        std::fprintf(stderr, "screenshot: the display is dark\n");
        return 1;
    }
    Ask(card, DRM_IOCTL_MODE_GETFB2, &framebuffer, "framebuffer");
    drm_mode_map_dumb map{};
    map.handle = framebuffer.handles[0];
    Ask(card, DRM_IOCTL_MODE_MAP_DUMB, &map, "mapping");
    const std::size_t size = std::size_t{framebuffer.pitches[0]} * framebuffer.height;
    void* const mapped =
        ::mmap(nullptr, size, PROT_READ, MAP_SHARED, card, static_cast<off_t>(map.offset));
    if (mapped == MAP_FAILED) {
        Fail("mmap");
    }
    // One quick copy first: the picture goes on changing.
    std::vector<std::uint8_t> pixels(size);
    std::memcpy(pixels.data(), mapped, size);

    std::FILE* const file = std::fopen(argv[2], "wb");
    if (file == nullptr) {
        Fail(argv[2]);
    }
    std::fprintf(file, "P6\n%u %u\n255\n", framebuffer.width, framebuffer.height);
    std::vector<std::uint8_t> row(std::size_t{3} * framebuffer.width);
    for (std::uint32_t y = 0; y < framebuffer.height; ++y) {
        const std::uint8_t* source = &pixels[std::size_t{y} * framebuffer.pitches[0]];
        for (std::uint32_t x = 0; x < framebuffer.width; ++x) {
            for (std::uint32_t channel = 0; channel < 3; ++channel) {
                row[3 * x + channel] = source[4 * x + 2 - channel];
            }
        }
        std::fwrite(row.data(), 1, row.size(), file);
    }
    return std::fclose(file) == 0 ? 0 : 1;
}
