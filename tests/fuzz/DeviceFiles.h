// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "tests/support/ScriptedSys.h"

#include <set>
#include <string>

namespace vantorel::test {

/**
 * The device's small files, in memory only. As long as one of these lives, the library and C++
 * streams find nothing else: whatever they open for writing comes into being, whatever else
 * they want to read is not there. Of one thread. A root directory would take too long for each.
 */
class DeviceFiles {
public:
    DeviceFiles();
    ~DeviceFiles();
    DeviceFiles(const DeviceFiles&) = delete;
    DeviceFiles& operator=(const DeviceFiles&) = delete;

    void Write(const std::string& path, const std::string& content);
    std::string Read(const std::string& path);

    /** The path at which the kernel has a file; empty for one that is not there. */
    std::string PathOf(const std::string& path, bool create);

private:
    ScopedSys sys;
    std::set<std::string> present;
};

} // namespace vantorel::test
