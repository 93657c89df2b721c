// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
/**
 * Installs the archive on a drive through the library without a USB host. Measurements use it, and
 * the power-cut test, which needs many updates in one boot.
 *
 * Usage: install_update polls|steps DEVICE    DEVICE holds a FAT file system with THERMAL.STR.
 * With "polls" the manager runs on its own thread as in a product, with "steps" without pauses.
 * Prints a line for each event, with the milliseconds since the start; fails if the update fails.
 */
#include "vantorel/service/Error.h"
#include "vantorel/service/FirmwareUpdateObserver.h"
#include "vantorel/system/Filesystem.h"
#include "vantorel/update/FirmwareUpdateManager.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

using namespace vantorel;

namespace {

constexpr int mostSteps = 20; // the manager finds a refused archive again at each poll

class Times final : public FirmwareUpdateObserver {
public:
    void OnFirmwareUpdateFileFound(FirmwareUpdateManager&) override { Print("found"); }
    void OnFirmwareUpdateFileValid(FirmwareUpdateManager&) override { Print("valid"); }
    void OnFirmwareUpdateBegin(FirmwareUpdateManager&) override { Print("begin"); }
    void OnFirmwareUpdateInProgress(FirmwareUpdateManager&, std::uint8_t percent) override {
        Print(std::to_string(percent).c_str());
    }
    void OnFirmwareUpdateComplete(FirmwareUpdateManager&) override {
        Print("complete");
        End(true);
    }
    void OnFirmwareUpdateError(FirmwareUpdateManager&, Error& error) override {
        Print(("error " + std::to_string(error.Value())).c_str());
        End(false);
    }

    /** Starts the clock. */
    void Begin() {
        start = Clock::now();
        Print("start");
    }
    bool HasEnded() const { return ended; }
    bool IsComplete() const { return complete; }
    void Wait() const { ended.wait(false); }

private:
    void Print(const char* event) const {
        const std::chrono::duration<double, std::milli> passed = Clock::now() - start;
        std::printf("%.0f %s\n", passed.count(), event);
        std::fflush(stdout);
    }
    void End(bool installed) {
        complete = installed;
        ended = true;
        ended.notify_all();
    }

    using Clock = std::chrono::steady_clock;
    Clock::time_point start;
    std::atomic<bool> ended = false;
    std::atomic<bool> complete = false;
};

} // namespace

int main(int count, char** arguments) {
    if (count != 3) {
        std::fprintf(stderr, "usage: install_update polls|steps DEVICE\n");
        return 2;
    }
    Times times;
    Filesystem drive(arguments[2], "/tmp/drive", "vfat", false, true);
    FirmwareUpdateManager manager(drive);
    manager.AddObserver(times);
    times.Begin();
    if (std::string(arguments[1]) == "polls") {
        manager.OnConnectionStateChanged(ConnectionState::Host, ConnectionState::NoHost);
        times.Wait();
        manager.Stop();
    } else {
        for (int step = 0; step < mostSteps && !times.HasEnded(); ++step) {
            manager.ServiceFunction();
        }
    }
    return times.IsComplete() ? 0 : 1;
}
