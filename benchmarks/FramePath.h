// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/camera/CameraManager.h"
#include "vantorel/devices/LCD.h"
#include "vantorel/ui/UserInterfaceManager.h"

#include <VantorelUI.h>
#include <kirocamera_sim.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <optional>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

#include <poll.h>

/**
 * The path of a frame, from the camera's callback to the stored copy and from there to the
 * display's back buffer. The SDK and the UI library only return a pointer, so the figures contain
 * only the library's time. The baseline of each half is memcpy() of the same bytes between the same
 * buffers.
 *
 * Include it in only one source of a program: it defines functions of both libraries, which replace
 * those of the simulators.
 */
namespace vantorel::benchmarks {

struct Geometry {
    std::uint16_t width;
    std::uint16_t height;
    std::uint8_t bytesPerPixel;

    std::size_t Bytes() const { return std::size_t{width} * height * bytesPerPixel; }
    std::string Name() const {
        return std::to_string(width) + "x" + std::to_string(height) +
               (bytesPerPixel == 1 ? "" : "x" + std::to_string(bytesPerPixel));
    }
};

/** The frames of the cameras, and an image of the screen's size. */
inline constexpr std::array<Geometry, 4> frames{
    {{160, 120, 1}, {320, 240, 1}, {640, 480, 1}, {480, 640, 4}}};

constexpr std::size_t headerSize = 2048;

// Returned by the two libraries.
inline kiroframe_t* image = nullptr;
inline std::uint32_t* picture = nullptr;
inline const std::uint8_t* shownPixels = nullptr;

class FramePath {
public:
    FramePath() {
        kirocamera_sim_set_manual(1);
        camera.emplace(0U);
        camera->AddObserver(userInterface);
        camera->Start();
        kirocamera_sim_event(nullptr, KIROCAMERA_EVENT_CONNECT, 0);
    }
    FramePath(const FramePath&) = delete;
    FramePath& operator=(const FramePath&) = delete;

    /** Selects the next frames' geometry and delivers the first one, which allocates the copy. */
    void Use(const Geometry& geometry) {
        buffer.assign(headerSize + geometry.Bytes(), 7);
        record.width = geometry.width;
        record.height = geometry.height;
        record.channels = 1;
        record.pixel_depth = static_cast<std::uint8_t>(8 * geometry.bytesPerPixel);
        record.data_size = static_cast<std::uint32_t>(geometry.Bytes());
        record.header_size = headerSize;
        record.buffer = buffer.data();
        image = &record;
        Frame();
    }

    /** The camera's callback, with the user interface and the camera itself as observers. */
    void Frame() { CameraManager::FrameAvailable(nullptr, nullptr, &*camera); }

    /** One refresh of the display; also finds the stored copy. */
    void Draw(LCD& lcd, std::uint32_t* pixels) { userInterface.OnLCDDraw(lcd, pixels); }

    /** Copies only the bytes of Frame(). */
    void CopyFrame() {
        auto* const kept = const_cast<std::uint8_t*>(shownPixels) - headerSize;
        std::memcpy(kept, buffer.data(), buffer.size());
    }

    /**
     * The minimum for Frame(): its bytes, the lock against torn images, and two counters for other
     * threads, the frames so far and the permits to stop the session.
     */
    void CopyFrameLocked() {
        permits.release();
        ++count;
        const std::lock_guard lock(mutex);
        CopyFrame();
    }

private:
    // In a single-threaded process the C library skips atomic operations; a device has twenty
    // threads.
    std::jthread other{[](const std::stop_token& end) {
        while (!end.stop_requested()) {
            ::poll(nullptr, 0, 200);
        }
    }};
    std::vector<std::uint8_t> buffer;
    kiroframe_t record{};
    std::mutex mutex;
    std::atomic<std::uint32_t> count = 0;
    std::counting_semaphore<> permits{0};
    UserInterfaceManager userInterface;
    std::optional<CameraManager> camera;
};

} // namespace vantorel::benchmarks

// Exported, so that shared libraries of this system use them instead of those of the simulators.
#pragma GCC visibility push(default)
extern "C" {
kirocamera_error_t kirocamera_frame_get_frame_by_format(kirocamera_frame_t*, uint32_t,
                                                        kiroframe_t** answer) {
    *answer = vantorel::benchmarks::image;
    return 0;
}
void SetEnvironmentTemp(float) {}
void SetReadoutTemp(float) {}
void UpdateThermalImage(const uint8_t* pixels) {
    vantorel::benchmarks::shownPixels = pixels;
}
uint32_t* Render(void) {
    return vantorel::benchmarks::picture;
}
}
#pragma GCC visibility pop
