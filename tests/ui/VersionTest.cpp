#include "vantorel/ui/Version.h"

#include "tests/ui/DeviceFiles.h"

#include <gtest/gtest.h>

namespace vantorel {
namespace {

struct Device {
    const char* what;
    const char* sku; // the files: null when there is none
    const char* revision;
    const char* version;
    const char* expectedSku;
    const char* expectedVersion;
};

constexpr const char* invalid = "invalid stoi";

const Device devices[] = {
    {"the first board names its SKU", nullptr, "REV-4\n", "1.5.0\n", "ZT-MMQX", "30.27.1.5"},
    {"an empty SKU file counts as none", "", "REV-4", "1.5.0", "ZT-MMQX", "30.27.1.5"},
    {"a SKU file wins", "AB-1\nrest\n", "REV-4\n", "1.5.0", "AB-1", "30.27.1.5"},
    {"the second board has no default SKU", nullptr, "REV-6\n", "1.5\n", "", "32.27.1.5"},
    {"components are bytes", nullptr, "REV-6", "300.2.9", "", "32.27.44.2"},
    {"negative components wrap as well", nullptr, "REV-6", "-1.07.9", "", "32.27.255.7"},
    {"an unknown revision", nullptr, "REV-5\n", "1.5.0", "", invalid},
    {"a revision with a trailing blank", nullptr, "REV-4 \n", "1.5.0", "", invalid},
    {"a revision in lower case", nullptr, "rev-4\n", "1.5.0", "", invalid},
    {"no version file", nullptr, "REV-6\n", nullptr, "", invalid},
    {"a version without a dot", nullptr, "REV-6\n", "15\n", "", invalid},
    {"a version beyond all numbers", nullptr, "REV-6\n", "99999999999.1.0", "", "range stoi"},
    {"nothing at all", nullptr, nullptr, nullptr, "", invalid},
};

std::string TextOf(const Version& version) {
    try {
        return VersionText(version);
    } catch (const std::invalid_argument& error) {
        return std::string("invalid ") + error.what();
    } catch (const std::out_of_range& error) {
        return std::string("range ") + error.what();
    }
}

TEST(Version, IsFormedOfTheIdentityFiles) {
    VANTOREL_NEED_PRIVATE_MOUNTS();
    for (const Device& device : devices) {
        test::ReplaceDeviceFiles("", "");
        for (const auto& [path, content] : {std::pair{"/tmp/var/sku", device.sku},
                                            {"/etc/kiro/revision", device.revision},
                                            {"/etc/kiro/version", device.version}}) {
            std::filesystem::remove(path);
            if (content != nullptr) {
                test::WriteFile(path, content);
            }
        }
        const Version version;
        EXPECT_EQ(version.Sku(), device.expectedSku) << device.what;
        EXPECT_EQ(TextOf(version), device.expectedVersion) << device.what;
    }
}

} // namespace
} // namespace vantorel
