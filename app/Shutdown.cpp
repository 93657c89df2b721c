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

// What waiting may take of the ten seconds. The rest is for leaving the bus and ending the shells
// on the serial line: an end in which little waited has taken two seconds in the virtual device.
constexpr std::chrono::milliseconds timeInAll = 6s;
// The connection manager needs half a second to end, and two more while it waits for a host.
constexpr std::chrono::milliseconds timeForDecision = 4s;
// Init scripts and processes to be killed, on a machine that is busy.
constexpr std::chrono::milliseconds timeForWork = 30s;
constexpr std::chrono::milliseconds slice = 250ms;

/** Steps of the end, each on a thread of its own, which is left behind when it takes too long. */
class Steps {
public:
    explicit Steps(CameraLatch& latch) : camera(latch) {}

    /** The future is not valid when no thread can be had. */
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
     * Waits for a step; false when it has not ended in time.
     * @param limit what it may take of the time that is left
     * @param isWork whether the step is doing something that must not be cut, and takes no time
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
            // A stop of the capture session waits for a frame, which a camera that hangs never
            // delivers.
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

    /** For a step that works and never waits for the camera: its time does not count. */
    bool Work(const char* name, std::function<void()> step) {
        const auto isWork = [until = Clock::now() + timeForWork] { return Clock::now() < until; };
        return Finish(name, Begin(std::move(step)), timeInAll, isWork);
    }

private:
    using Clock = std::chrono::steady_clock;

    CameraLatch& camera;
    Clock::time_point deadline = Clock::now() + timeInAll;
};

/** Ends the connection manager; false when it goes on waiting for the camera. */
bool StopDeciding(const Running& device, Steps& steps) {
    const auto isGaugeAtWork = [&] {
        // A stream takes minutes. The camera has let the manager through by then.
        return device.beforeGauge.State() != ConnectionState::Undetermined &&
               device.settled.State() == ConnectionState::Undetermined;
    };
    return steps.Finish("connection manager", Steps::Begin([&] { device.connection.Stop(); }),
                        timeForDecision, isGaugeAtWork);
}

/** Removes the functions of a port that has left the bus. */
void RemoveFunctions(const Running& device, Steps& steps) {
    // The last one may be waiting for the camera. It ends the process if the kernel had refused
    // the function, which adding it does not report.
    static_cast<void>(
        steps.Do("network function", [&] { device.usb.RemoveGadget(device.network); }) &&
        steps.Do("drive function", [&] { device.usb.RemoveGadget(device.drive); }) &&
        steps.Work("serial function", [&] { device.usb.RemoveGadget(device.serial); }) &&
        steps.Do("control function", [&] { device.usb.RemoveGadget(device.control); }));
}

/** The mount would outlive the process, and be in the way of the next one's. */
void UnmountDrive(USBGadgetMassStorage& drive) {
    const std::string directory = drive.Storage().MountPoint();
    try {
        Tools::Umount(directory);
    } catch (const Error& error) {
        // A process has a file or a directory of it open, a shell for instance. Detached, the mount
        // is out of the way at once and ends with that process. After a host has overwritten the
        // file system, the drive is not mounted at all.
        if (error.Value() != EBUSY || ::umount2(directory.c_str(), MNT_DETACH) == -1) {
            std::cerr << "The drive is not unmounted: " << error.ToString() << '\n';
        }
    }
}

} // namespace

void ShutDown(const Running& device) {
    device.logger.Flush(); // whatever happens below costs no line
    Steps steps(device.camera);

    // First the manager that starts the other services. It is left alone when it waits for the
    // camera: while it binds the port, or while it announces a state that starts a capture session,
    // which is never the state that starts updates.
    const bool stopped = StopDeciding(device, steps);
    std::vector<std::future<void>> polling;
    if (stopped) {
        // At the same time: the logger alone sleeps for up to five seconds.
        for (Service& poller : device.pollers) {
            polling.push_back(Steps::Begin([&poller] { poller.Stop(); }));
        }
        steps.Finish("update", Steps::Begin([&] { device.update.Stop(); }), timeInAll,
                     [] { return true; });
    }

    // Before its decision the manager may be binding the port at this moment, which must not
    // overlap with unbinding it. The kernel unbinds it then: it does so when endpoint zero of the
    // control function is closed, at the latest with the end of the process.
    const ConnectionState state = device.decided.State();
    const bool hasPort = state == ConnectionState::Host || state == ConnectionState::NoHost;
    const bool isReleased = hasPort && steps.Work("USB port", [&] { device.usb.UnbindGadgets(); });
    UnmountDrive(device.drive);

    // No host is served any more, and no mount is left that would be in the way of the next start.
    // The rest is done as far as there is time.
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
