// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Offers a drive and a serial line on the USB port for some seconds.
#include "vantorel/camera/CameraError.h"
#include "vantorel/camera/CameraManager.h"
#include "vantorel/service/Error.h"
#include "vantorel/usb/USB.h"
#include "vantorel/usb/USBGadgetMassStorage.h"
#include "vantorel/usb/USBGadgetSerial.h"

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <thread>

int main(int argc, char** argv) {
    const std::chrono::seconds duration{argc > 1 ? std::atoi(argv[1]) : 5};
    constexpr const char* controller = "dummy_udc.0"; // a name in /sys/class/udc
    try {
        vantorel::USB usb("port", controller);
        vantorel::USBGadgetMassStorage drive("drive", controller, "EXAMPLE", 8U << 20U, true);
        vantorel::USBGadgetSerial line("line", controller, false, false);
        usb.AddGadget(line);
        usb.AddGadget(drive);

        // The product's identity comes from the camera, so binding waits until one has connected.
        vantorel::CameraManager camera(0);
        camera.AddObserver(usb);
        camera.Start();
        usb.BindGadgets();
        for (int wait = 0; wait < 100 && !usb.IsConnected(); ++wait) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        std::cout << (usb.IsConnected() ? "a host has configured the port" : "no host")
                  << std::endl;
        std::this_thread::sleep_for(duration);
        usb.UnbindGadgets();
        usb.RemoveGadget(drive);
        usb.RemoveGadget(line);
    } catch (const vantorel::CameraError& error) {
        std::cerr << "camera: " << error.Text() << std::endl;
        return 1;
    } catch (const vantorel::Error& error) {
        std::cerr << "USB: " << error.ToString() << std::endl;
        return 1;
    }
}
