// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Export.h"

#include <array>
#include <cstdint>
#include <string>

namespace vantorel {

/**
 * The device's identity texts, read from three small files at construction:
 * "/tmp/var/sku" (SKU code), "/etc/kiro/revision" (board revision) and "/etc/kiro/version"
 * (software version, of which only the first two components are used).
 *
 * Construction never fails: the text of a missing file stays empty; see VersionText() for the
 * version of such an object. Read-only apart from assignment, so thread-safe between assignments.
 */
class VANTOREL_EXPORT Version {
public:
    Version();
    /** Copies the texts. */
    Version(const Version&) = default;
    /** Copies the texts. */
    Version& operator=(const Version&) = default;
    virtual ~Version();

    /** The SKU code; empty when unknown. */
    std::string Sku() const { return sku; }

private:
    friend VANTOREL_EXPORT std::array<std::uint8_t, 4> VersionBytes(const Version& version);

    void ApplyRevision(const std::string& revision);

    std::string sku;
    std::string hardware;
    std::string fixed;
    std::string major;
    std::string minor;
};

/** The identity of this device; the first call reads it. Thread-safe. */
VANTOREL_EXPORT const Version& DeviceVersion();

/**
 * The four components hardware, fixed, major and minor, each modulo 256.
 * @throws std::invalid_argument ("stoi") for a component without a number: the board's revision is
 *         unknown or the version file is missing or has no dot
 * @throws std::out_of_range for a component too large for an int
 */
VANTOREL_EXPORT std::array<std::uint8_t, 4> VersionBytes(const Version& version);

/** The components of VersionBytes() in decimal, joined with dots; throws the same exceptions. */
VANTOREL_EXPORT std::string VersionText(const Version& version);

} // namespace vantorel
