// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "tests/support/CameraSimulator.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/PrivateRoot.h"
#include "vantorel/camera/Camera.h"
#include "vantorel/camera/CameraManager.h"
#include "vantorel/usb/USBGadget.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>

namespace vantorel::test {

inline const std::string gadgetDirectory = "/config/usb_gadget/g0/";

/** File contents by path. */
using Attributes = std::map<std::string, std::string>;

/** Returns the content of every file below a directory, by relative path. */
inline Attributes FilesBelow(const std::string& directory) {
    Attributes files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
        if (entry.is_regular_file()) {
            files[entry.path().lexically_relative(directory)] = ReadFile(entry.path());
        }
    }
    return files;
}

/**
 * A separate device for each test, with the directories that the kernel shows under "/config" and
 * "/sys". The test connects the camera.
 */
class UsbTest : public testing::Test {
protected:
    void SetUp() override {
        VANTOREL_NEED_PRIVATE_MOUNTS();
        root.emplace();
        output.emplace(); // needs the /tmp of the root
        WriteFile(stateFile, "not attached\n");
        for (const char* directory : {"strings", "configs/g0.1", "os_desc", "functions"}) {
            std::filesystem::create_directories(gadgetDirectory + directory);
        }
        root->Behave(links);
    }

    /** Connects a camera with this chip; valid until the next call. */
    Camera& Connect(std::uint16_t chip) {
        kirocamera_sim_identity_t identity{};
        kirocamera_sim_get_identity(&identity);
        identity.roic_id = chip;
        kirocamera_sim_set_identity(&identity);
        sdk.Connect();
        return camera.emplace(kirocamera_sim_get_camera());
    }

    /** Adds and removes a function, and checks what the kernel and the host would see. */
    void CheckComposition(USBGadget& gadget, const std::string& type, const Attributes& expected) {
        const std::string function = gadgetDirectory + "functions/" + type + ".usb0";
        const std::string link = gadgetDirectory + "configs/g0.1/" + type + ".usb0";
        for (const auto& [name, text] : expected) { // the kernel makes these directories
            std::filesystem::create_directories(
                std::filesystem::path(function + "/" + name).parent_path());
        }
        gadget.OnAdd();
        EXPECT_EQ(FilesBelow(function), expected);
        EXPECT_EQ(std::filesystem::read_symlink(link), function);
        for (const auto& entry : std::filesystem::directory_iterator(function)) {
            std::filesystem::remove_all(entry);
        }
        gadget.OnRemove();
        EXPECT_FALSE(std::filesystem::exists(function));
        EXPECT_FALSE(std::filesystem::is_symlink(link));
    }

    const std::string stateFile = "/sys/class/udc/udc.0/state";
    const std::string links = "if [ $1 = ln ]; then shift; exec /bin/ln \"$@\"; fi\n";
    std::optional<PrivateRoot> root;
    std::optional<CapturedOutput> output;
    ManualCamera sdk;
    CameraManager manager{0};
    std::optional<Camera> camera;
};

} // namespace vantorel::test
