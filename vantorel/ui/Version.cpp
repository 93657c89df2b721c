// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/ui/Version.h"

#include <fstream>

namespace vantorel {

Version::Version() {
    std::ifstream skuFile("/tmp/var/sku");
    std::ifstream versionFile("/etc/kiro/version");
    std::ifstream revisionFile("/etc/kiro/revision");
    std::getline(skuFile, sku);
    std::string revision;
    std::getline(revisionFile, revision);
    std::getline(versionFile, major, '.');
    std::getline(versionFile, minor, '.');
    ApplyRevision(revision);
    fixed = "27"; // identifies the product line to host software
}

Version::~Version() = default;

// Only the two existing boards have rules. Any other revision text, even one with a trailing blank,
// leaves the hardware component empty, so that a mislabelled board fails at its first start instead
// of passing for another one.
void Version::ApplyRevision(const std::string& revision) {
    if (revision == "REV-4") {
        if (sku.empty()) {
            sku = "ZT-MMQX";
        }
        hardware = "30";
    } else if (revision == "REV-6") {
        hardware = "32";
    }
}

const Version& DeviceVersion() {
    static const Version version;
    return version;
}

std::array<std::uint8_t, 4> VersionBytes(const Version& version) {
    const auto component = [](const std::string& text) {
        // The protocol sends components as bytes, so 300 is shown as 44 everywhere.
        return static_cast<std::uint8_t>(std::stoi(text));
    };
    return {component(version.hardware), component(version.fixed), component(version.major),
            component(version.minor)};
}

std::string VersionText(const Version& version) {
    std::string text;
    for (const std::uint8_t component : VersionBytes(version)) {
        text += (text.empty() ? "" : ".") + std::to_string(component);
    }
    return text;
}

} // namespace vantorel
