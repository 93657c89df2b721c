// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "tests/ui/DeviceFiles.h"

#include <cerrno>
#include <functional>

#include <sys/wait.h>
#include <unistd.h>

namespace vantorel::test {

/** Runs a life of the application in a separate process; returns its wait status. */
inline int StatusOf(const std::function<void()>& life) {
    const pid_t process = ::fork();
    if (process == 0) {
        life();
    }
    int status = -1;
    while (::waitpid(process, &status, 0) == -1 && errno == EINTR) {
    }
    return status;
}

/** Prepares the files of the device for all lives of a test. */
inline void PrepareFiles() {
    ReplaceDeviceFiles("REV-6\n", "4.2\n");
    WriteFile("/tmp/cmdline", "image_select=0\n");
    Must(::mount("/tmp/cmdline", "/proc/cmdline", nullptr, MS_BIND, nullptr));
}

} // namespace vantorel::test
