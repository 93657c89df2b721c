#include "app/Shutdown.h"

#include "vantorel/service/Error.h"
#include "vantorel/system/Filesystem.h"
#include "vantorel/system/Tools.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <future>
#include <iostream>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include <sys/mount.h>
#include <unistd.h>

using namespace vantorel;
using namespace std::chrono_literals;

namespace {

// The share of the ten seconds for waiting. The rest is for leaving the bus and ending the shells
// on the serial line: a shutdown with little waiting took two seconds in the virtual device.
constexpr std::chrono::milliseconds timeInAll = 6s;
// The connection manager needs half a second to stop, and two more while it waits for a host.
constexpr std::chrono::milliseconds timeForDecision = 4s;
// For init scripts and for killing processes on a busy machine.
constexpr std::chrono::milliseconds timeForWork = 30s;
constexpr std::chrono::milliseconds slice = 250ms;

/** Steps of the shutdown, each on a separate thread, which is abandoned when it takes too long. */
class Steps {
public:
    explicit Steps(CameraLatch& latch) : camera(latch) {}

    /** Starts a step. The future is not valid when no thread can be created. */
    static std::future<void> Begin(std::function<void()> step) {
        std::packaged_task<void()> task(std::move(step));
        std::future<void> end = task.get_future();
        try {
            std::thread(std::move(task)).detach();
        } catch (const std::system_error&) {
            return {};
        }
        return end;
    }

    /**
     * Waits for a step; returns false when it does not end in time.
     * @param limit the step's maximum share of the remaining time
     * @param isWork whether the step does work that must not be cut short; its time does not count
     */
    bool Finish(
        const char* name, std::future<void> step, std::chrono::milliseconds limit = timeInAll,
        const std::function<bool()>& isWork = [] { return false; }) {
        Clock::time_point until = std::min(deadline, Clock::now() + limit);
        while (step.valid() && step.wait_for(slice) != std::future_status::ready) {
            if (isWork()) {
                until += slice;
                deadline += slice;
            } else if (Clock::now() >= until) {
                step = {};
            }
            // A stop of the capture session waits for a frame, which a hung camera never delivers.
            camera.SendEmptyFrame();
        }
        if (!step.valid()) {
            std::cerr << "The end does not wait for the " << name << " any longer.\n";
            return false;
        }
        try {
            step.get();
        } catch (const Error& error) {
            std::cerr << "Ending the " << name << ": " << error.ToString() << '\n';
        }
        return true;
    }

    bool Do(const char* name, std::function<void()> step) {
        return Finish(name, Begin(std::move(step)));
    }

    /** For a step that never waits for the camera: up to 30 seconds of it are not counted. */
    bool Work(const char* name, std::function<void()> step) {
        const auto isWork = [until = Clock::now() + timeForWork] { return Clock::now() < until; };
        return Finish(name, Begin(std::move(step)), timeInAll, isWork);
    }

private:
    using Clock = std::chrono::steady_clock;

    CameraLatch& camera;
    Clock::time_point deadline = Clock::now() + timeInAll;
};

/** Stops the connection manager; returns false when it still waits for the camera. */
bool StopDeciding(const Running& device, Steps& steps) {
    const auto isGaugeAtWork = [&] {
        // A stream takes minutes. The manager no longer waits for the camera at this point.
        return device.beforeGauge.State() != ConnectionState::Undetermined &&
               device.settled.State() == ConnectionState::Undetermined;
    };
    return steps.Finish("connection manager", Steps::Begin([&] { device.connection.Stop(); }),
                        timeForDecision, isGaugeAtWork);
}

/** Removes the functions of a port that has left the bus. */
void RemoveFunctions(const Running& device, Steps& steps) {
    // The last one may wait for the camera. It ends the process if the kernel had refused the
    // function, which adding it does not report.
    static_cast<void>(
        steps.Do("network function", [&] { device.usb.RemoveGadget(device.network); }) &&
        steps.Do("drive function", [&] { device.usb.RemoveGadget(device.drive); }) &&
        steps.Work("serial function", [&] { device.usb.RemoveGadget(device.serial); }) &&
        steps.Do("control function", [&] { device.usb.RemoveGadget(device.control); }));
}

/** The mount would outlive the process and obstruct the next process's mount. */
void UnmountDrive(USBGadgetMassStorage& drive) {
    const std::string directory = drive.Storage().MountPoint();
    try {
        Tools::Umount(directory);
    } catch (const Error& error) {
        // A process, for instance a shell, has a file or a directory of the drive open. A detached
        // mount disappears at once and ends with that process. After a host has overwritten the
        // file system, the drive is not mounted.
        if (error.Value() != EBUSY || ::umount2(directory.c_str(), MNT_DETACH) == -1) {
            std::cerr << "The drive is not unmounted: " << error.ToString() << '\n';
        }
    }
}

} // namespace

void ShutDown(const Running& device) {
    device.logger.Flush(); // so that no failure below loses a line
    Steps steps(device.camera);

    // First the manager that starts the other services. It is abandoned when it waits for the
    // camera: while it binds the port, or while it announces a state that starts a capture session,
    // which is never the state that starts updates.
    const bool stopped = StopDeciding(device, steps);
    std::vector<std::future<void>> polling;
    if (stopped) {
        // In parallel: the logger alone sleeps for up to five seconds.
        for (Service& poller : device.pollers) {
            polling.push_back(Steps::Begin([&poller] { poller.Stop(); }));
        }
        steps.Finish("update", Steps::Begin([&] { device.update.Stop(); }), timeInAll,
                     [] { return true; });
    }

    // Before its decision the manager may be binding the port, which must not overlap with
    // unbinding it. The kernel then unbinds the port when endpoint zero of the control function is
    // closed, at the latest at the end of the process.
    const ConnectionState state = device.decided.State();
    const bool hasPort = state == ConnectionState::Host || state == ConnectionState::NoHost;
    const bool isReleased = hasPort && steps.Work("USB port", [&] { device.usb.UnbindGadgets(); });
    UnmountDrive(device.drive);

    // The port serves no host any more, and no mount obstructs the next start. The remaining steps
    // run as far as time permits.
    if (isReleased) {
        RemoveFunctions(device, steps);
    }
    for (std::future<void>& poller : polling) {
        steps.Finish("services", std::move(poller));
    }
    device.logger.Flush();
    std::cout.flush();
    ::_exit(0);
}
