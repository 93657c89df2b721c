// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/ui/Version.h"

#include "vantorel/service/private/ReadFile.h"

namespace vantorel {
namespace {

/**
 * Removes the part before the first separator, and the separator, from a text; returns the part.
 */
std::string TakePart(std::string& text, char separator) {
    const std::size_t end = text.find(separator);
    std::string part = text.substr(0, end);
    text.erase(0, end == std::string::npos ? end : end + 1);
    return part;
}

std::string FirstLine(const char* path) {
    std::string text = ReadFileIfPossible(path);
    return TakePart(text, '\n');
}

} // namespace

Version::Version() : sku(FirstLine("/tmp/var/sku")) {
    std::string components = ReadFileIfPossible("/etc/kiro/version");
    major = TakePart(components, '.');
    minor = TakePart(components, '.');
    ApplyRevision(FirstLine("/etc/kiro/revision"));
    fixed = "27"; // Kept: a host program may rely on it
}

Version::~Version() = default;

// Only the two existing boards have rules. Any other revision text, even one with a trailing
// blank, leaves the hardware component empty, so that a mislabelled board fails at its first start
// instead of running as another board.
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
