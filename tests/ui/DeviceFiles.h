#pragma once

#include "tests/support/PrivateRoot.h"

namespace vantorel::test {

/** Puts directories of the test's own in the place of those that say what the device is. */
inline void ReplaceDeviceFiles(const std::string& revision, const std::string& version) {
    CoverWithTmpfs("/tmp");
    CoverWithTmpfs("/etc");
    std::filesystem::create_directories("/tmp/var");
    WriteFile("/etc/kiro/revision", revision);
    WriteFile("/etc/kiro/version", version);
}

} // namespace vantorel::test
