// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "app/Device.h"
#include "app/StopSteps.h"
#include "vantorel/service/Error.h"
#include "vantorel/service/Service.h"
#include "vantorel/system/Filesystem.h"
#include "vantorel/system/Tools.h"

#include <cerrno>
#include <future>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include <sys/mount.h>
#include <unistd.h>

using namespace std::chrono_literals;

namespace app {

/** Stops the connection manager; returns false when it still waits for the camera. */
bool Device::StopDeciding(StopSteps& steps) {
    const auto isGaugeAtWork = [&] {
        // A stream takes minutes. The manager no longer waits for the camera at this point.
        return beforeGauge.State() != ConnectionState::Undetermined &&
               settled.State() == ConnectionState::Undetermined;
    };
    // The manager needs half a second to stop, and two more while it waits for a host.
    constexpr auto limit = 4s;
    // Only this state starts updates, and from its announcement on the manager never waits. Not
    // the state that has settled: a torch that cannot be switched ends each announcement before the
    // last observer, but not before the update.
    const bool always = decided.State() == ConnectionState::Host;
    return steps.Finish("connection manager", StopSteps::Begin([&] { connection.Stop(); }, always),
                        limit, isGaugeAtWork);
}

/** Removes the functions after the port has left the bus. */
void Device::RemoveFunctions(StopSteps& steps) {
    // The last step may wait for the camera. It ends the process if the kernel refused the
    // function when it was added, since adding it does not report that.
    static_cast<void>(steps.Do("network function", [&] { usb.RemoveGadget(network); }) &&
                      steps.Do("drive function", [&] { usb.RemoveGadget(drive); }) &&
                      steps.Work("serial function", [&] { usb.RemoveGadget(serial); }) &&
                      steps.Do("control function", [&] { usb.RemoveGadget(control); }));
}

/** A mount that outlives the process would prevent the next process from mounting the drive. */
void Device::UnmountDrive(StopSteps& steps) {
    const std::string directory = drive.Storage().MountPoint();
    try {
        Tools::Umount(directory);
    } catch (const Error& error) {
        int problem = error.Value();
        // A process, for instance a shell, has a file or a directory of the drive open. A detached
        // mount disappears at once and ends with that process.
        if (problem == EBUSY) {
            problem = ::umount2(directory.c_str(), MNT_DETACH) == -1 ? errno : 0;
        }
        // EINVAL: not mounted, as after a host has overwritten the file system.
        if (problem != 0 && problem != EINVAL) {
            steps.Report("The drive is not unmounted: " + Error(problem).ToString() + '\n');
        }
    }
}

void Device::Stop(int status) {
    logger.Flush(); // so that no failure below loses a line
    StopSteps steps(cameraLatch);

    // Stop the manager that starts the other services first. It is abandoned when it waits for the
    // camera: while it binds the port, or while it announces a state that starts a capture
    // session. That is never the state that starts updates.
    const bool stopped = StopDeciding(steps);
    std::vector<std::future<void>> polling;
    if (stopped) {
        // In parallel: the logger alone sleeps for up to five seconds.
        for (Service* poller : std::initializer_list<Service*>{
                 &fuelGaugeService, &loggerService, &processorLogService, &boardLogService,
                 &boardThermometerService}) {
            polling.push_back(StopSteps::Begin([poller] { poller->Stop(); }));
        }
        // Also without a thread: the end of the process would cut a write to the flash.
        steps.Finish("update", StopSteps::Begin([&] { update.Stop(); }, true), StopSteps::totalTime,
                     [] { return true; });
    }

    // Before its decision the manager may be binding the port, which must not overlap with
    // unbinding it. The kernel then unbinds the port when endpoint zero of the control function is
    // closed, at the latest at the end of the process.
    const ConnectionState state = decided.State();
    const bool hasPort = state == ConnectionState::Host || state == ConnectionState::NoHost;
    const bool isReleased = hasPort && steps.Work("USB port", [&] { usb.UnbindGadgets(); });
    UnmountDrive(steps);

    // The port no longer serves a host, and no mount obstructs the next start. The remaining steps
    // run as far as time permits.
    if (isReleased) {
        RemoveFunctions(steps);
    }
    for (std::future<void>& poller : polling) {
        steps.Finish("services", std::move(poller));
    }
    logger.Flush();
    // Standard output is not flushed here: each status line has been, and its reader may no longer
    // read.
    ::_exit(status);
}

} // namespace app
