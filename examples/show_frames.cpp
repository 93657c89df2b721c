// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Starts a capture session and reads the header of each frame.
#include "vantorel/camera/Camera.h"
#include "vantorel/camera/CameraError.h"
#include "vantorel/camera/CameraManager.h"

#include <cstdlib>
#include <cstring>
#include <future>
#include <iostream>

#include <unistd.h>

namespace {

class Viewer final : public vantorel::CameraObserver {
public:
    explicit Viewer(int wanted) : remaining(wanted) {}

    void OnCameraConnect(vantorel::Camera&) override { connected.set_value(); }

    // Called on an SDK thread; the frame is valid until this returns.
    void OnCameraFrameAvailable(vantorel::Camera&, kirocamera_frame_t* frame) override {
        kiroframe_t* picture = nullptr;
        if (remaining == 0 ||
            kirocamera_frame_get_frame_by_format(frame, KIROCAMERA_FORMAT_DISPLAY, &picture) != 0) {
            return;
        }
        float spot = 0; // in the header, not aligned
        std::memcpy(&spot, kiroframe_get_header(picture) + 131, sizeof(spot));
        std::cout << kiroframe_get_width(picture) << " x " << kiroframe_get_height(picture)
                  << ", spot " << spot << " C" << std::endl;
        if (--remaining == 0) {
            done.set_value();
        }
    }

    std::promise<void> connected;
    std::promise<void> done;

private:
    int remaining;
};

} // namespace

int main(int argc, char** argv) {
    try {
        Viewer viewer(argc > 1 ? std::atoi(argv[1]) : 3);
        vantorel::CameraManager manager(0);
        manager.AddObserver(viewer);
        manager.Start();
        viewer.connected.get_future().wait();
        // The manager starts a session when it is notified of a state that requires frames.
        manager.OnConnectionStateChanged(vantorel::ConnectionState::Battery,
                                         vantorel::ConnectionState::Undetermined);
        viewer.done.get_future().wait();
        ::_exit(0); // the SDK still delivers frames
    } catch (const vantorel::CameraError& error) {
        std::cerr << "camera: " << error.Text() << std::endl;
        return 1;
    }
}
