// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
/**
 * Measures the time from the exec of a program to its first thermal image, with the simulators. The
 * argument is the time of the exec by CLOCK_MONOTONIC, in nanoseconds. Prints a line for each
 * phase, in microseconds since then. Needs private mounts, which ./bench provides.
 */
#include "tests/ui/DeviceFiles.h"
#include "vantorel/camera/CameraManager.h"
#include "vantorel/logger/Logger.h"
#include "vantorel/logger/LoggerService.h"
#include "vantorel/ui/UserInterfaceManager.h"

#include <VantorelUI.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <semaphore>

#include <unistd.h>

using namespace vantorel;

namespace {

std::int64_t Now() {
    timespec time{};
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

struct FirstFrame final : CameraObserver {
    void OnCameraFrameAvailable(Camera&, kirocamera_frame_t*) override { there.release(); }
    void OnCameraConnect(Camera&) override { connected.release(); }
    std::binary_semaphore connected{0};
    std::counting_semaphore<> there{0};
};

} // namespace

int main(int count, char** arguments) {
    const std::int64_t inMain = Now();
    const std::int64_t began = count == 2 ? std::atoll(arguments[1]) : inMain;
    const auto print = [began](const char* phase, std::int64_t now) {
        std::fprintf(stderr, "%s %.0f\n", phase, static_cast<double>(now - began) / 1000.0);
    };
    test::ReplaceDeviceFiles("REV-6", "1.5.0");
    setenv("KIROCAMERA_SIM_RATE", "240", 1);
    const std::int64_t prepared = Now();

    Logger logger("/tmp/log/");
    LoggerService loggerService(logger, std::chrono::milliseconds(1000));
    UserInterfaceManager userInterface;
    CameraManager camera(0);
    FirstFrame first;
    camera.AddObserver(userInterface);
    camera.AddObserver(logger);
    camera.AddObserver(first);
    const std::int64_t constructed = Now() - (prepared - inMain);
    camera.Start();
    first.connected.acquire();
    camera.OnConnectionStateChanged(ConnectionState::Battery, ConnectionState::Undetermined);
    first.there.acquire();
    const std::int64_t frame = Now() - (prepared - inMain);
    const bool rendered = ::Render() != nullptr;
    print("main", inMain);
    print("constructed", constructed);
    print("frame", frame);
    print("picture", Now() - (prepared - inMain));
    std::fflush(stderr);
    ::_exit(rendered ? 0 : 1);
}
