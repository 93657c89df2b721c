#pragma once

#include "tests/support/CameraSimulator.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/PrivateRoot.h"
#include "vantorel/camera/Camera.h"
#include "vantorel/camera/CameraManager.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>

namespace vantorel::test {

inline const std::string gadgetDirectory = "/config/usb_gadget/g0/";

/**
 * A device of its own for every test, with the directories that the kernel would show under
 * "/config" and "/sys", and a camera that is connected on demand.
 */
class UsbTest : public testing::Test {
protected:
    void SetUp() override {
        VANTOREL_NEED_PRIVATE_MOUNTS();
        root.emplace();
        output.emplace(); // keeps a file in the root's /tmp
        WriteFile(stateFile, "not attached\n");
        for (const char* directory : {"strings", "configs", "os_desc", "functions"}) {
            std::filesystem::create_directories(gadgetDirectory + directory);
        }
        root->Behave("if [ $1 = ln ]; then shift; exec /bin/ln \"$@\"; fi");
    }

    /** A camera with this chip; valid until the next one. */
    Camera& Connect(std::uint16_t chip) {
        kirocamera_sim_identity_t identity{};
        kirocamera_sim_get_identity(&identity);
        identity.roic_id = chip;
        kirocamera_sim_set_identity(&identity);
        sdk.Connect();
        return camera.emplace(kirocamera_sim_get_camera());
    }

    const std::string stateFile = "/sys/class/udc/udc.0/state";
    std::optional<PrivateRoot> root;
    std::optional<CapturedOutput> output;
    ManualCamera sdk;
    CameraManager manager{0};
    std::optional<Camera> camera;
};

/** The content of every file below a directory, by its path from there. */
inline std::map<std::string, std::string> FilesBelow(const std::string& directory) {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
        if (entry.is_regular_file()) {
            files[entry.path().lexically_relative(directory)] = ReadFile(entry.path());
        }
    }
    return files;
}

} // namespace vantorel::test
