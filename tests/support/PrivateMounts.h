// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

#include <sys/mount.h>
#include <unistd.h>

/**
 * Skips a test that mounts its files over those of the machine, unless it runs in the namespaces
 * that ctest creates. There it is the first process, and no other process sees its mounts.
 */
#define VANTOREL_NEED_PRIVATE_MOUNTS()                                                             \
    if (::getpid() != 1) {                                                                         \
        GTEST_SKIP() << "needs namespaces of its own: run it through ctest";                       \
    }                                                                                              \
    static_assert(true)

namespace vantorel::test {

/** Checks that a test's own system call succeeded. */
inline void Must(int result) {
    if (result != 0) {
        throw std::runtime_error(std::strerror(errno));
    }
}

/** Hides a directory behind an empty one. */
inline void CoverWithTmpfs(const std::string& directory) {
    Must(::mount("tmpfs", directory.c_str(), "tmpfs", 0, nullptr));
}

} // namespace vantorel::test
