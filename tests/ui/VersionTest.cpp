// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/ui/Version.h"

#include "tests/support/UISimulator.h"
#include "tests/ui/DeviceFiles.h"
#include "vantorel/ui/UserInterfaceManager.h"

#include <gmock/gmock.h>

#include <array>
#include <stdexcept>

namespace vantorel {
namespace {

std::string SkuAndVersion() {
    const Version version;
    try {
        return version.Sku() + " " + VersionText(version);
    } catch (const std::logic_error&) { // invalid_argument, out_of_range
        return version.Sku() + " throws";
    }
}

TEST(Version, IsComputedFromTheIdentityFiles) {
    VANTOREL_NEED_PRIVATE_MOUNTS();
    const std::array<const char*, 4> devices[] = {
        // The files' contents: the SKU, the board's revision, the version.
        {"", "REV-4\n", "1.5.0\n", "ZT-MMQX 30.27.1.5"}, // the revision implies the SKU
        {"AB-1\nrest\n", "REV-4", "1.5.0", "AB-1 30.27.1.5"},
        {"", "REV-6", "300.2.9", " 32.27.44.2"}, // components are bytes
        {"", "REV-6", "-1.07.9", " 32.27.255.7"},
        {"", "", "1.5.0", " throws"},
        {"", "REV-6", "", " throws"},
        {"", "REV-4 \n", "1.5.0", " throws"},
        {"", "REV-6 \n", "1.5.0", " throws"},
        {"", "rev-4\n", "1.5.0", " throws"},
        {"", "rev-6\n", "1.5.0", " throws"},
        {"", "REV-6\n", "15\n", " throws"}, // no dot
        {"", "REV-6\n", "99999999999.1.0", " throws"},
    };
    for (const auto& [sku, revision, version, expected] : devices) {
        test::ReplaceDeviceFiles(revision, version);
        test::WriteFile("/tmp/var/sku", sku);
        EXPECT_EQ(SkuAndVersion(), expected);
    }
}

// A board without a valid label must not start as another one. A process reads its identity once,
// so no other test of this program may do so.
TEST(Version, IsRequiredByTheUserInterface) {
    VANTOREL_NEED_PRIVATE_MOUNTS();
    const test::RecordedUI ui;
    test::ReplaceDeviceFiles("REV-9\n", "1.5.0\n");
    EXPECT_THAT([] { const UserInterfaceManager manager; },
                testing::ThrowsMessage<std::invalid_argument>("stoi"));
}

} // namespace
} // namespace vantorel
