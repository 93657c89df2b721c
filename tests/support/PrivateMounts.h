#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

#include <sys/mount.h>
#include <unistd.h>

/**
 * Skips a test that is about to put files of its own over those of the machine, unless it runs in
 * the namespaces that ctest gives it, where it is the first process and nobody else sees its
 * mounts.
 */
#define VANTOREL_NEED_PRIVATE_MOUNTS()                                                             \
    if (::getpid() != 1) {                                                                         \
        GTEST_SKIP() << "needs namespaces of its own: run it through ctest";                       \
    }                                                                                              \
    static_assert(true)

namespace vantorel::test {

/** Hides a directory behind an empty one. */
inline void CoverWithTmpfs(const std::string& directory) {
    if (::mount("tmpfs", directory.c_str(), "tmpfs", 0, nullptr) != 0) {
        throw std::runtime_error("cannot mount on " + directory + ": " + std::strerror(errno));
    }
}

/** Puts a file in the place of another, which must exist. */
inline void CoverWithFile(const std::string& target, const std::string& replacement) {
    if (::mount(replacement.c_str(), target.c_str(), nullptr, MS_BIND, nullptr) != 0) {
        throw std::runtime_error("cannot bind over " + target + ": " + std::strerror(errno));
    }
}

} // namespace vantorel::test
