#include "vantorel/ui/Version.h"
#include "tests/support/PrivateMounts.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>

namespace vantorel {
namespace {

struct Device {
    const char* what;
    std::optional<std::string> sku;
    std::optional<std::string> revision;
    std::optional<std::string> version;
    std::string expectedSku;
    std::string expectedVersion; // empty: forming it fails
};

const Device devices[] = {
    {"the first board names its SKU itself", {}, "REV-4\n", "1.5.0\n", "ZT-MMQX", "30.27.1.5"},
    {"an empty SKU file counts as none", "", "REV-4", "1.5.0", "ZT-MMQX", "30.27.1.5"},
    {"a SKU file wins", "AB-1\nrest\n", "REV-4\n", "1.5.0", "AB-1", "30.27.1.5"},
    {"the second board has no default SKU", {}, "REV-6\n", "1.5\n", "", "32.27.1.5"},
    {"components are bytes", {}, "REV-6", "300.2.9", "", "32.27.44.2"},
    {"negative components wrap as well", {}, "REV-6", "-1.07.9", "", "32.27.255.7"},
    {"an unknown revision", {}, "REV-5\n", "1.5.0", "", ""},
    {"a revision with a trailing blank", {}, "REV-4 \n", "1.5.0", "", ""},
    {"a revision in lower case", {}, "rev-4\n", "1.5.0", "", ""},
    {"no version file", {}, "REV-6\n", {}, "", ""},
    {"a version without a dot", {}, "REV-6\n", "15\n", "", ""},
    {"nothing at all", {}, {}, {}, "", ""},
};

void PrintTo(const Device& device, std::ostream* out) {
    *out << device.what;
}

class VersionTest : public testing::TestWithParam<Device> {
protected:
    void SetUp() override {
        VANTOREL_NEED_PRIVATE_MOUNTS();
        test::CoverWithTmpfs("/tmp");
        test::CoverWithTmpfs("/etc");
        std::filesystem::create_directories("/tmp/var");
        std::filesystem::create_directories("/etc/kiro");
        Write("/tmp/var/sku", GetParam().sku);
        Write("/etc/kiro/revision", GetParam().revision);
        Write("/etc/kiro/version", GetParam().version);
    }

    static void Write(const char* path, const std::optional<std::string>& content) {
        if (content) {
            std::ofstream(path) << *content;
        }
    }
};

TEST_P(VersionTest, ReadsTheIdentityFiles) {
    const Version version;
    EXPECT_EQ(version.Sku(), GetParam().expectedSku);
    if (!GetParam().expectedVersion.empty()) {
        EXPECT_EQ(VersionText(version), GetParam().expectedVersion);
        return;
    }
    try {
        VersionText(version);
        FAIL() << "a version was formed of nothing";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "stoi");
    }
}

INSTANTIATE_TEST_SUITE_P(Devices, VersionTest, testing::ValuesIn(devices),
                         [](const auto& device) { return std::to_string(device.index); });

TEST(VersionRange, OverflowsAsTheNumberConversionDoes) {
    VANTOREL_NEED_PRIVATE_MOUNTS();
    test::CoverWithTmpfs("/etc");
    std::filesystem::create_directories("/etc/kiro");
    std::ofstream("/etc/kiro/revision") << "REV-6";
    std::ofstream("/etc/kiro/version") << "99999999999.1.0";
    EXPECT_THROW(VersionText(Version()), std::out_of_range);
}

} // namespace

} // namespace vantorel
