// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// A small but complete application: the display shows what the UI library draws, and the UI library
// receives the board's temperature and the buttons. docs/own-application.md describes how to build
// and start it.
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
#include <exception>
#include <iostream>
#include <stdexcept>

#include <unistd.h>

namespace {

// What the UI library draws.
constexpr int imageWidth = 480;
constexpr int imageHeight = 640;

/** SIGTERM ends the application. Call this before the first thread starts: threads inherit it. */
sigset_t BlockTermination() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

int Run() {
    const sigset_t termination = BlockTermination();
    // The user-interface manager recognises the devices by these names.
    vantorel::LCD lcd("lcd", "/dev/vantorel/display");
    // The user-interface manager copies as many pixels as the display has, without a check.
    if (lcd.Width() != imageWidth || lcd.Height() != imageHeight) {
        throw std::runtime_error("the display does not have the size that the UI library draws");
    }
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
    } catch (const std::logic_error&) { // of the user-interface manager, which shows both
        std::cerr << "own application: /etc/kiro/version or /etc/kiro/revision is missing or not "
                     "valid"
                  << std::endl;
    } catch (const std::exception& error) {
        std::cerr << "own application: " << error.what() << std::endl;
    }
    return 1;
}
