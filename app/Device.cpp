// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "app/Device.h"
#include "vantorel/ui/Version.h"

#include <iostream>
#include <stdexcept>
#include <string>

namespace app {

Device::SizeCheck::SizeCheck(const LCD& lcd) {
    if (lcd.Width() != board::screenWidth || lcd.Height() != board::screenHeight) {
        throw std::runtime_error(
            "the display has " + std::to_string(lcd.Width()) + " x " +
            std::to_string(lcd.Height()) + " pixels, the user interface draws " +
            std::to_string(board::screenWidth) + " x " + std::to_string(board::screenHeight));
    }
}

Device::VersionCheck::VersionCheck() {
    try {
        static_cast<void>(VersionBytes(DeviceVersion()));
    } catch (const std::logic_error&) { // no number, or too large
        throw std::runtime_error("/etc/kiro/version or /etc/kiro/revision is missing or not valid");
    }
}

Logger Device::OpenLog() {
    try {
        return Logger(board::logDirectory);
    } catch (const Error& error) {
        std::cerr << "log (" << board::logDirectory << "): " << error.ToString() << "; logging to "
                  << board::spareLogDirectory << '\n';
    }
    return Logger(board::spareLogDirectory);
}

/** Runs before the display draws, since the UI library may raise an event while it draws. */
void Device::WireScreen() {
    userInterface.AddObserver(torch);
    userInterface.AddObserver(camera);
    userInterface.AddObserver(logFlusher);
    userInterface.AddObserver(power); // last: it does not return
    torch.AddObserver(userInterface);
    lcdService.AddObserver(userInterface);
    lcdService.AddObserver(pictureLatch);
}

void Device::WireConnection() {
    connection.AddObserver(decided);
    connection.AddObserver(userInterface);
    connection.AddObserver(power);
    connection.AddObserver(camera);
    connection.AddObserver(update);
    connection.AddObserver(loggerService);
    // After the observers that may receive a state twice: a torch that cannot be switched throws,
    // and the manager announces the state again.
    connection.AddObserver(torch);
    connection.AddObserver(beforeGauge);
    // After all observers that may throw, so that it receives each state once: it resets the
    // gauge, which takes a second, and starts polling it.
    connection.AddObserver(fuelGaugeService);
    connection.AddObserver(settled);
}

/** The order of a subject's observers matters where a comment says why. */
void Device::Wire() {
    WireConnection();

    // The USB port and the control function must observe the camera, or binding the port would wait
    // forever.
    camera.AddObserver(userInterface);
    camera.AddObserver(logger);
    camera.AddObserver(usb);
    camera.AddObserver(control);
    camera.AddObserver(cameraLatch);

    powerButtonService.AddObserver(userInterface);
    torchButtonService.AddObserver(userInterface);
    resetButtonService.AddObserver(userInterface);
    boardThermometerService.AddObserver(userInterface);
    boardLogService.AddObserver(logger);
    processorLogService.AddObserver(logger);
    fuelGaugeService.AddObserver(userInterface);
    fuelGaugeService.AddObserver(logger);
    loggerService.AddObserver(userInterface);
    update.AddObserver(userInterface); // before the port: it waits for init scripts
    update.AddObserver(usb);
    control.AddObserver(camera);

    // The port adds its functions in reverse order, and numbers their interfaces in that order: the
    // network function has the first two. The control function waits for a camera when the port
    // adds it, so the port adds the others first.
    usb.AddGadget(control);
    usb.AddGadget(serial);
    usb.AddGadget(drive);
    usb.AddGadget(network);
}

void Device::Start(const std::function<bool()>& shouldEnd) {
    // The camera starts before the connection manager, whose first decision starts the capture
    // session of the camera connected by then. The services of the fuel gauge and the logger start
    // themselves when that decision finds a battery.
    camera.Start();
    boardThermometerService.Start();
    boardLogService.Start();
    processorLogService.Start();
    powerButtonService.Start();
    torchButtonService.Start();
    resetButtonService.Start();
    if (!cameraLatch.WaitFor(board::cameraWait, shouldEnd)) {
        std::cerr << "No camera yet; continuing without it.\n";
    }
    if (!shouldEnd()) {
        connection.Start();
    }
}

} // namespace app
