// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
/**
 * The reference application: builds the whole device from the library's classes. Read it from top
 * to bottom and copy it. Device.h constructs, Device.cpp registers the observers and starts the
 * services, DeviceStop.cpp stops them.
 */
#include "app/Device.h"
#include "vantorel/LibraryVersion.h"
#include "vantorel/camera/CameraError.h"
#include "vantorel/service/Error.h"
#include "vantorel/system/Firstboot.h"

#include <csignal>
#include <exception>
#include <iostream>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

using namespace vantorel;

namespace {

/** Blocks the termination signals in all later threads, so that WaitForTermination() gets them. */
sigset_t BlockTerminationSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

/** Corrects what a careless parent may leave. */
void CorrectSurroundings() {
    // An ignored signal survives an exec: then no program could be waited for.
    ::signal(SIGCHLD, SIG_DFL);
    // A device that took the number of a closed standard descriptor would receive messages.
    for (int standard = STDIN_FILENO; standard <= STDERR_FILENO; ++standard) {
        if (::fcntl(standard, F_GETFD) == -1) {
            ::open("/dev/null", O_RDWR); // takes this number, the lowest one that is free
        }
    }
    // A message must not wait for another thread that prints a status line.
    std::cerr.tie(nullptr);
}

/**
 * Keeps the application alive when the reader of its output ends. The failed line is lost, the next
 * is tried again. The library's tools still end at their first line: each starts with the default
 * action of every signal. So an update that flashcp is writing fails, and the running slot stays
 * selected. A handler instead of SIG_IGN, which a program that one of the closed libraries starts
 * would inherit.
 */
void OutliveTheReaderOfTheOutput() {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGPIPE, &action, nullptr);
}

bool IsTerminationPending(const sigset_t& signals) {
    sigset_t pending;
    sigpending(&pending);
    sigset_t both;
    sigandset(&both, &pending, &signals);
    return sigisemptyset(&both) == 0;
}

void WaitForTermination(const sigset_t& signals) {
    int received = 0;
    sigwait(&signals, &received);
}

/** Reports the exception that is being handled. */
void PrintFailure() {
    try {
        throw;
    } catch (const CameraError& error) {
        std::cerr << "Camera: " << error.Text() << " (" << error.Value() << ")\n";
    } catch (const Error& error) {
        std::cerr << "Cannot start: " << error.ToString() << " (" << error.Value() << ")\n";
    } catch (const std::exception& error) {
        std::cerr << "Cannot start: " << error.what() << '\n';
    }
}

[[noreturn]] void Run(bool serialDebugger) {
    const sigset_t termination = BlockTerminationSignals();
    OutliveTheReaderOfTheOutput();

    // The first start of new firmware. A product may convert settings here; this one has none.
    Firstboot firstStart;
    if (firstStart.Value()) {
        firstStart.Clear();
    }

    app::Device device(serialDebugger);
    device.Wire();
    try {
        device.Start([&] { return IsTerminationPending(termination); });
    } catch (...) {
        PrintFailure();
        device.Stop(1); // a service that runs must not be destroyed
    }
    WaitForTermination(termination);
    device.Stop(0);
}

} // namespace

int main(int argc, char** argv) {
    CorrectSurroundings();
    if (argc == 2 && std::string_view(argv[1]) == "--version") {
        std::cout << "vantorel-app " VANTOREL_VERSION "\n";
        return 0;
    }
    // For developers: a debug server on the USB serial line instead of the shell.
    const bool serialDebugger = argc == 2 && std::string_view(argv[1]) == "--serial-debugger";
    if (argc > 1 && !serialDebugger) {
        std::cerr << "usage: vantorel-app [--serial-debugger | --version]\n";
        return 2;
    }
    try {
        Run(serialDebugger);
    } catch (...) {
        PrintFailure();
    }
    return 1;
}
