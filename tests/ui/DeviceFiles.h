// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "tests/support/PrivateRoot.h"

namespace vantorel::test {

/** Replaces the directories that identify the device by the test's own. */
inline void ReplaceDeviceFiles(const std::string& revision, const std::string& version) {
    CoverWithTmpfs("/tmp");
    CoverWithTmpfs("/etc");
    std::filesystem::create_directories("/tmp/var");
    WriteFile("/etc/kiro/revision", revision);
    WriteFile("/etc/kiro/version", version);
}

} // namespace vantorel::test
