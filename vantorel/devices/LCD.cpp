// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/devices/LCD.h"

#include "vantorel/devices/private/DrmRequests.h"
#include "vantorel/devices/private/WaitForInput.h"
#include "vantorel/service/Error.h"
#include "vantorel/service/private/LittleEndian.h"
#include "vantorel/service/private/OrThrow.h"
#include "vantorel/service/private/Sys.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>

namespace vantorel {
namespace {

template <typename Request>
void Issue(const UniqueFd& card, typename Request::Record& record) {
    OrThrow(sys::Ioctl(card.Get(), Request::number, &record));
}

/**
 * Allocates as many entries as the card announced and returns their address for the kernel. There
 * is always at least one zeroed entry: a card without connectors, CRTCs or modes yields identifier
 * 0 or an empty mode, which the kernel rejects in the step that uses it. The kernel writes no more
 * than the announced count, even if the card has more entries by then.
 */
template <typename Entry>
std::uint64_t Allocate(std::vector<Entry>& entries, std::uint32_t count) {
    entries.assign(std::max<std::uint32_t>(count, 1), Entry{});
    // Cast through uintptr_t, so that a 32-bit address is not sign-extended.
    return reinterpret_cast<std::uintptr_t>(entries.data());
}

std::uint32_t FirstId(const std::vector<std::uint64_t>& ids) {
    return LoadLe<std::uint32_t>(reinterpret_cast<const std::uint8_t*>(ids.data()));
}

/** Only ends of flips are requested as events, so the content does not matter. */
void DiscardEvent(const UniqueFd& card) {
    drm::FlipEvent event{};
    static_cast<void>(sys::Read(card.Get(), &event, sizeof event));
}

} // namespace

void UnmapPixels::operator()(std::uint32_t* pixels) const noexcept {
    static_cast<void>(sys::Munmap(pixels, size));
}

LCD::LCD(std::string deviceName, std::string devicePath)
    : Device(std::move(deviceName), std::move(devicePath), O_RDWR) {
    // Ignored: the first opener of the card is its master anyway. If another process is the
    // master, a later step fails.
    static_cast<void>(sys::Ioctl(fd.Get(), drm::setMaster, nullptr));
    ReadResources();
    ReadConnector();
    ReadCrtc();
    bufferA = CreateBuffer(recordsA);
    bufferB = CreateBuffer(recordsB);
    ShowFirstBuffer();
    backBuffer = bufferB.get();
}

LCD::~LCD() {
    static_cast<void>(sys::Ioctl(fd.Get(), drm::dropMaster, nullptr));
    // The kernel releases framebuffers and buffers when the descriptor is closed.
}

void LCD::ReadResources() {
    Issue<drm::GetResources>(fd, resources);
    resources.framebufferIdPointer = Allocate(framebuffers, resources.countFramebuffers);
    resources.crtcIdPointer = Allocate(crtcs, resources.countCrtcs);
    resources.connectorIdPointer = Allocate(connectors, resources.countConnectors);
    resources.encoderIdPointer = Allocate(encoders, resources.countEncoders);
    Issue<drm::GetResources>(fd, resources);
}

void LCD::ReadConnector() {
    connector.connectorId = FirstId(connectors);
    Issue<drm::GetConnector>(fd, connector);
    connector.modesPointer = Allocate(modes, connector.countModes);
    connector.propertiesPointer = Allocate(properties, connector.countProperties);
    connector.propertyValuesPointer = Allocate(propertyValues, connector.countProperties);
    connector.encodersPointer = Allocate(connectorEncoders, connector.countEncoders);
    Issue<drm::GetConnector>(fd, connector);
    mode = modes.front();
}

void LCD::ReadCrtc() {
    crtc.crtcId = FirstId(crtcs);
    Issue<drm::GetCrtc>(fd, crtc);
}

MappedPixels LCD::CreateBuffer(BufferRecords& records) {
    records.create.height = mode.vdisplay;
    records.create.width = mode.hdisplay;
    records.create.bitsPerPixel = 32;
    Issue<drm::CreateDumbRequest>(fd, records.create);

    records.framebuffer.width = records.create.width;
    records.framebuffer.height = records.create.height;
    records.framebuffer.pitch = records.create.pitch;
    records.framebuffer.bitsPerPixel = 32;
    records.framebuffer.depth = 24;
    records.framebuffer.handle = records.create.handle;
    Issue<drm::AddFramebufferRequest>(fd, records.framebuffer);

    records.map.handle = records.create.handle;
    Issue<drm::MapDumbRequest>(fd, records.map);
    return MapBuffer(records);
}

MappedPixels LCD::MapBuffer(const BufferRecords& records) {
    const std::uint64_t size = records.create.size;
    // Observers draw Height() rows of Stride() bytes without checking the size.
    if (size < std::uint64_t{Stride()} * Height() ||
        size > std::numeric_limits<std::size_t>::max()) {
        throw Error(EINVAL);
    }
    const auto bytes = static_cast<std::size_t>(size);
    void* address = sys::Mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd.Get(),
                              static_cast<off_t>(records.map.offset));
    if (address == MAP_FAILED) {
        throw Error(errno);
    }
    // An inherited mapping keeps the card open and its first opener the master. A child that never
    // execs, such as a getty's supervisor, would block the display at the application's next
    // start.
    static_cast<void>(sys::Madvise(address, bytes, MADV_DONTFORK));
    return MappedPixels(static_cast<std::uint32_t*>(address), UnmapPixels{bytes});
}

void LCD::ShowFirstBuffer() {
    crtc.setConnectorsPointer = resources.connectorIdPointer;
    crtc.countConnectors = 1;
    crtc.framebufferId = recordsA.framebuffer.framebufferId;
    crtc.mode = mode;
    crtc.modeValid = 1;
    // A previous owner may have moved the viewport within a larger buffer; the kernel refuses one
    // that does not fit into this buffer, which has the size of the mode.
    crtc.x = 0;
    crtc.y = 0;
    Issue<drm::SetCrtc>(fd, crtc);
}

void LCD::SwapBuffers() {
    if (backBuffer == bufferA.get()) {
        FlipTo(recordsA);
        backBuffer = bufferB.get();
    } else if (backBuffer == bufferB.get()) {
        FlipTo(recordsB);
        backBuffer = bufferA.get();
    }
}

void LCD::FlipTo(const BufferRecords& records) {
    drm::PageFlip flip{};
    flip.crtcId = crtc.crtcId;
    flip.framebufferId = records.framebuffer.framebufferId;
    flip.flags = drm::pageFlipEvent;
    Issue<drm::PageFlipRequest>(fd, flip);
}

void LCD::WaitForVSYNC() {
    static_cast<void>(WaitForInput(fd));
    DiscardEvent(fd);
}

bool LCD::WaitForVSYNC(std::chrono::milliseconds limit) {
    if (!WaitForInput(fd, limit)) {
        return false;
    }
    DiscardEvent(fd);
    return true;
}

} // namespace vantorel
