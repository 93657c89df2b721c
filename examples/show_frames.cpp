// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Starts a capture session and reads the header of each frame.
#include "vantorel/camera/Camera.h"
#include "vantorel/camera/CameraError.h"
#include "vantorel/camera/CameraManager.h"

#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <mutex>

#include <unistd.h>

namespace {

constexpr std::size_t spotOffset = 131; // in the header, not aligned

/** The SDK calls it on its own threads, with frames perhaps on several at once. */
class Viewer final : public vantorel::CameraObserver {
public:
    explicit Viewer(int wanted) : remaining(wanted) {}

    // Called once: an unplugged camera ends the process, see CameraManager.
    void OnCameraConnect(vantorel::Camera&) override {
        const std::lock_guard lock(mutex);
        connected = true;
        changed.notify_all();
    }

    // The frame is valid until this returns.
    void OnCameraFrameAvailable(vantorel::Camera&, kirocamera_frame_t* frame) override {
        kiroframe_t* picture = nullptr;
        float spot = 0;
        if (kirocamera_frame_get_frame_by_format(frame, KIROCAMERA_FORMAT_DISPLAY, &picture) != 0 ||
            kiroframe_get_header_size(picture) < spotOffset + sizeof(spot)) {
            return;
        }
        std::memcpy(&spot, kiroframe_get_header(picture) + spotOffset, sizeof(spot));
        const std::lock_guard lock(mutex);
        if (remaining > 0) {
            std::cout << kiroframe_get_width(picture) << " x " << kiroframe_get_height(picture)
                      << ", spot " << spot << " C" << std::endl;
            --remaining;
            changed.notify_all();
        }
    }

    void WaitForCamera() {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return connected; });
    }

    void WaitForFrames() {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return remaining <= 0; });
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    bool connected = false;
    int remaining;
};

} // namespace

int main(int argc, char** argv) {
    try {
        Viewer viewer(argc > 1 ? std::atoi(argv[1]) : 3);
        vantorel::CameraManager manager(0);
        manager.AddObserver(viewer);
        manager.Start();
        viewer.WaitForCamera();
        // The manager starts a session when it is notified of a state that requires frames.
        manager.OnConnectionStateChanged(vantorel::ConnectionState::Battery,
                                         vantorel::ConnectionState::Undetermined);
        viewer.WaitForFrames();
        ::_exit(0); // the SDK still delivers frames
    } catch (const vantorel::CameraError& error) {
        std::cerr << "camera: " << error.Text() << std::endl;
        return 1;
    }
}
