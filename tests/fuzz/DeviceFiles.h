// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "tests/support/ScriptedSys.h"

#include <set>
#include <string>

namespace vantorel::test {

/**
 * The device's small files, in memory only. While an object exists, the library and C++ streams see
 * no other files: opening a file for writing creates it, and any other file does not exist. Use it
 * in one thread. A private root directory for each input would take too long.
 */
class DeviceFiles {
public:
    DeviceFiles();
    ~DeviceFiles();
    DeviceFiles(const DeviceFiles&) = delete;
    DeviceFiles& operator=(const DeviceFiles&) = delete;

    void Write(const std::string& path, const std::string& content);
    std::string Read(const std::string& path);

    /** Returns the path at which the kernel can open a file; empty if the file does not exist. */
    std::string PathOf(const std::string& path, bool create);

private:
    ScopedSys sys;
    std::set<std::string> present;
};

} // namespace vantorel::test
