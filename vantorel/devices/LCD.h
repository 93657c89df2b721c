// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/devices/Device.h"
#include "vantorel/devices/DrmRecords.h"
#include "vantorel/devices/MappedPixels.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace vantorel {

/**
 * The display, driven through the kernel's DRM/KMS interface: the first connector of a card in its
 * first mode on the first CRTC, with two alternating buffers of 32-bit pixels.
 *
 * Draw into BackBuffer(), show it with SwapBuffers(), and draw again after WaitForVSYNC().
 * Thread-bound, except that other threads may read BackBuffer() and the geometry. The pixels exist
 * as long as the object, and in this process only. A forked child does not inherit them
 * (MADV_DONTFORK), because an inherited mapping would keep the card open and its first opener the
 * master.
 */
class VANTOREL_EXPORT LCD final : public Device {
public:
    /**
     * Becomes the card's master, sets the mode and shows the first buffer.
     * @param deviceName any name
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
     * Always 8, although pixels have 32 bits. Kept: an application may rely on the number. Use
     * BytesPerPixel() to locate pixels.
     */
    std::uint32_t BitsPerPixel() const { return 8; }
    /** Bytes from one pixel to the next, 4. */
    std::uint32_t BytesPerPixel() const { return 32 / BitsPerPixel(); }
    /**
     * Bytes from one row to the next, Width() * BytesPerPixel(). The card's pitch is not used.
     * Kept: a program that draws relies on rows without gaps. A card that pads its rows shows a
     * skewed image.
     */
    std::uint32_t Stride() const { return Width() * BytesPerPixel(); }

    /** The buffer that is not on screen. */
    std::uint32_t* BackBuffer() const { return backBuffer; }

    /**
     * Requests a flip to the back buffer at the next vertical sync. The other buffer becomes the
     * back buffer.
     * @throws Error with the errno of the failed flip (EBUSY while the previous flip is pending);
     *         the back buffer then does not change
     */
    void SwapBuffers();

    /**
     * Blocks until the kernel sends the event of a completed flip. There is no time limit: without
     * a pending flip, or when the driver loses the event, it waits forever. Only a signal whose
     * handler runs on this thread ends the wait early, with EINTR. The event then remains for the
     * next wait, and a SwapBuffers() before it may fail with EBUSY.
     * @throws Error with the errno of a failed wait, EINTR among them
     */
    void WaitForVSYNC();

    /**
     * The same with a time limit in milliseconds. A flip whose event does not come within the limit
     * may still be pending; its event then remains for the next wait.
     * @return whether a flip completed within the limit
     * @throws Error with the errno of a failed wait, EINTR among them
     */
    bool WaitForVSYNC(std::chrono::milliseconds limit);

private:
    /** The card's replies for one of the two buffers. */
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

    // The kernel writes packed 32-bit identifiers; eight bytes per entry leave slack.
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
