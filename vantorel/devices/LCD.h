#pragma once

#include "vantorel/devices/Device.h"
#include "vantorel/devices/DrmRecords.h"
#include "vantorel/devices/MappedPixels.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace vantorel {

/**
 * The display, driven through the kernel's DRM/KMS interface: the first connector of a card in its
 * first mode on the first CRTC, with two buffers of 32-bit pixels that take turns on the screen.
 *
 * Draw into BackBuffer(), show it with SwapBuffers(), and draw again after WaitForVSYNC(). All of
 * it is thread-bound; only BackBuffer() and the geometry may be read from others. The pixels
 * live as long as the object, and in this process only: a forked child does not get them
 * (MADV_DONTFORK), since a mapping keeps the card open and its first opener the master.
 */
class VANTOREL_EXPORT LCD final : public Device {
public:
    /**
     * Becomes the card's master, sets the mode and shows the first buffer.
     * @param deviceName the name, free to choose
     * @param devicePath the DRM card node
     * @throws Error with the errno of the first step that fails, EINVAL when the kernel's buffers
     *         are too small for the mode or too large to be mapped
     */
    LCD(std::string deviceName, std::string devicePath);
    ~LCD() override;

    /** Pixels in a row. */
    std::uint16_t Width() const { return mode.hdisplay; }
    /** Rows. */
    std::uint16_t Height() const { return mode.vdisplay; }
    /**
     * Always 8, although pixels have 32 bits. Kept: an application may rely on the number. It is of
     * no use for finding pixels; BytesPerPixel() is.
     */
    std::uint32_t BitsPerPixel() const { return 8; }
    /** Bytes from one pixel to the next, 4. */
    std::uint32_t BytesPerPixel() const { return 32 / BitsPerPixel(); }
    /** Bytes from one row to the next. Rows stand without a gap, whatever pitch the card has. */
    std::uint32_t Stride() const { return Width() * BytesPerPixel(); }

    /** The buffer that is not on screen. */
    std::uint32_t* BackBuffer() const { return backBuffer; }

    /**
     * Asks for the back buffer to be shown from the next vertical sync on; the other buffer becomes
     * the back buffer.
     * @throws Error with the errno of the failed flip (EBUSY while the last one is pending); the
     *         back buffer then stays
     */
    void SwapBuffers();

    /**
     * Blocks until the kernel sends the event of a completed flip. There is no time limit: without
     * a flip under way, or when the driver loses the event, it waits for ever. Only a signal whose
     * handler runs on this thread ends the wait early, by EINTR; the event is then left for the
     * next wait, and a SwapBuffers() before it may fail with EBUSY.
     * @throws Error with the errno of a failed wait, EINTR among them
     */
    void WaitForVSYNC();

private:
    /** What the card answered for one of the two buffers. */
    struct BufferRecords {
        drm::CreateDumb create{};
        drm::AddFramebuffer framebuffer{};
        drm::MapDumb map{};
    };

    void ReadResources();
    void ReadConnector();
    void ReadCrtc();
    MappedPixels CreateBuffer(BufferRecords& records);
    MappedPixels MapBuffer(const BufferRecords& records);
    void ShowFirstBuffer();
    void FlipTo(const BufferRecords& records);

    MappedPixels bufferA;
    MappedPixels bufferB;
    std::atomic<std::uint32_t*> backBuffer{nullptr};

    // Identifiers have 32 bits and stand at the start of these; eight bytes an entry leave slack.
    std::vector<std::uint64_t> framebuffers;
    std::vector<std::uint64_t> crtcs;
    std::vector<std::uint64_t> connectors;
    std::vector<std::uint64_t> encoders;

    drm::CardResources resources{};
    drm::Connector connector{};
    std::vector<drm::ModeInfo> modes;
    std::vector<std::uint64_t> properties;
    std::vector<std::uint64_t> propertyValues;
    std::vector<std::uint64_t> connectorEncoders;
    drm::Crtc crtc{};
    BufferRecords recordsA;
    BufferRecords recordsB;
    drm::ModeInfo mode{};
};

} // namespace vantorel
