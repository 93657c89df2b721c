// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
/**
 * Composes a gadget of a drive and a serial line through the library and binds it. Prints the
 * microseconds for that, and separately those for the drive's image. Neither includes the wait for
 * the camera, which determines the port's name. The caller must remove the gadget.
 *
 * Usage: compose CONTROLLER
 */
#include "vantorel/camera/CameraManager.h"
#include "vantorel/service/CameraObserver.h"
#include "vantorel/service/Error.h"
#include "vantorel/usb/USB.h"
#include "vantorel/usb/USBGadgetMassStorage.h"
#include "vantorel/usb/USBGadgetSerial.h"

#include <atomic>
#include <chrono>
#include <cstdio>

using namespace vantorel;

namespace {

using Clock = std::chrono::steady_clock;

/** The last observer to be notified: by then the port knows the camera. */
class Arrival final : public CameraObserver {
public:
    void OnCameraConnect(Camera&) override {
        arrived = true;
        arrived.notify_all();
    }
    void Wait() const { arrived.wait(false); }

private:
    std::atomic<bool> arrived = false;
};

long Microseconds(Clock::duration passed) {
    return static_cast<long>(std::chrono::duration_cast<std::chrono::microseconds>(passed).count());
}

void Compose(const char* controller) {
    const Clock::time_point imageBegin = Clock::now();
    USBGadgetMassStorage drive("drive", controller, "EXAMPLE", 8U << 20U, true);

    const Clock::time_point portBegin = Clock::now();
    USB usb("port", controller);
    USBGadgetSerial line("line", controller, false, false);
    usb.AddGadget(line);
    usb.AddGadget(drive);
    const Clock::time_point portEnd = Clock::now();

    CameraManager camera(0);
    Arrival arrival;
    camera.AddObserver(usb);
    camera.AddObserver(arrival);
    camera.Start();
    arrival.Wait();

    const Clock::time_point bindBegin = Clock::now();
    usb.BindGadgets();
    const Clock::duration bind = Clock::now() - bindBegin;
    std::printf("bound %ld us, image %ld us\n", Microseconds(portEnd - portBegin + bind),
                Microseconds(portBegin - imageBegin));
    std::fflush(stdout);
}

} // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        std::fprintf(stderr, "usage: compose CONTROLLER\n");
        return 2;
    }
    try {
        Compose(arguments[1]);
        return 0;
    } catch (const Error& error) {
        std::fprintf(stderr, "compose: %s\n", error.ToString().c_str());
        return 1;
    }
}
