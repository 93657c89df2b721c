// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// A whole application of your own, small: the display shows what the UI library draws, and the
// board's temperature and the buttons reach it. Build and start it as docs/own-application.md says.
#include "vantorel/devices/Button.h"
#include "vantorel/devices/ButtonService.h"
#include "vantorel/devices/LCD.h"
#include "vantorel/devices/LCDService.h"
#include "vantorel/devices/Thermometer.h"
#include "vantorel/devices/ThermometerService.h"
#include "vantorel/service/Error.h"
#include "vantorel/ui/UserInterfaceManager.h"

#include <chrono>
#include <csignal>
#include <iostream>

#include <unistd.h>

namespace {

/** SIGTERM ends the application. Blocked before the first thread starts, so in all of them. */
sigset_t BlockTermination() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

int Run() {
    const sigset_t termination = BlockTermination();
    // The names are those by which the user-interface manager knows the devices.
    vantorel::LCD lcd("lcd", "/dev/vantorel/display");
    vantorel::Thermometer board("vantorel.thermometer.board", "/dev/vantorel/temperature-board");
    vantorel::Button power("vantorel.button.power", "/dev/vantorel/buttons", 116); // KEY_POWER

    vantorel::UserInterfaceManager userInterface;
    vantorel::LCDService display(lcd);
    vantorel::ThermometerService thermometer(board, std::chrono::seconds(1));
    vantorel::ButtonService button(power);
    display.AddObserver(userInterface);
    thermometer.AddObserver(userInterface);
    button.AddObserver(userInterface);
    display.Start();
    thermometer.Start();
    button.Start();

    std::cout << "own application: started" << std::endl;
    int received = 0;
    sigwait(&termination, &received);
    std::cout << "own application: ends" << std::endl;
    ::_exit(0); // stopping the button's service would wait for its next press
}

} // namespace

int main() {
    try {
        return Run();
    } catch (const vantorel::Error& error) {
        std::cerr << "own application: " << error.ToString() << std::endl;
        return 1;
    }
}
