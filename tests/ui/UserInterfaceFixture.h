// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "tests/support/CameraSimulator.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/UISimulator.h"
#include "tests/ui/DeviceFiles.h"
#include "vantorel/camera/CameraManager.h"
#include "vantorel/service/Error.h"
#include "vantorel/ui/UserInterfaceManager.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <optional>
#include <string>
#include <vector>

namespace vantorel::test {

/** Records the user's requests; throws at the second power-off request. */
struct Requests final : UserInterfaceObserver {
    void OnUserInterfacePowerOffRequest() override {
        log.push_back("off");
        if (log.size() > 1) {
            throw Error(ENOSPC);
        }
    }
    void OnUserInterfaceTorchOnRequest() override { log.push_back("torch on"); }
    void OnUserInterfaceTorchOffRequest() override { log.push_back("torch off"); }
    void OnUserInterfacePowerButtonDoubleClick() override { log.push_back("power double"); }
    void OnUserInterfaceTorchButtonDoubleClick() override { log.push_back("torch double"); }
    std::vector<std::string> log;
};

/** A user-interface manager with the camera and UI simulators. */
class UserInterfaceManagerTest : public testing::Test {
protected:
    void SetUp() override {
        VANTOREL_NEED_PRIVATE_MOUNTS();
        ReplaceDeviceFiles("REV-6\n", "1.5.0\n");
        output.emplace();
        manager.emplace();
        manager->AddObserver(requests);
    }
    /** Connects a camera whose frames the manager receives, and starts its session. */
    void StartCamera() {
        camera.AddObserver(*manager);
        camera.Start();
        sdk.Connect();
        camera.OnConnectionStateChanged(ConnectionState::NoHost, ConnectionState::Undetermined);
        ui.Calls();
    }

    std::optional<CapturedOutput> output; // set once the temporary directory is private
    RecordedUI ui;
    ManualCamera sdk;
    CameraManager camera{0};
    std::optional<UserInterfaceManager> manager;
    Requests requests;
};

} // namespace vantorel::test
