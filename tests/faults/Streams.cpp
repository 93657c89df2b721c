// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Replaces the functions of the C library with which the standard library implements file streams.

#include "tests/faults/Streams.h"

#include "tests/faults/Faults.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>

#include <dlfcn.h>
#include <sys/uio.h>
#include <unistd.h>

namespace vantorel::test {
namespace {

/** A bit for each descriptor that belongs to a stream of the library. */
std::atomic<std::uint64_t> streams{0};

std::uint64_t BitOf(int fd) {
    return fd >= 0 && fd < 64 ? std::uint64_t{1} << fd : 0;
}

bool IsStream(int fd) {
    return streamFault && (streams & BitOf(fd)) != 0;
}

/** Whether the call fails; otherwise `cut` is its cut, if any. */
bool Fails(std::string_view call, int& cut) {
    const int fault = streamFault(call);
    cut = fault < 0 ? fault : 0;
    if (fault > 0) {
        errno = fault;
    }
    return fault > 0;
}

template <typename Function>
Function* Next(const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

} // namespace
} // namespace vantorel::test

// The functions of the C library have no namespace.
using namespace vantorel::test; // NOLINT(google-build-using-namespace)

#define VANTOREL_REPLACES extern "C" __attribute__((visibility("default")))

VANTOREL_REPLACES std::FILE* fopen64(const char* path, const char* mode) {
    static auto* const next = Next<std::FILE*(const char*, const char*)>("fopen64");
    const std::string_view name(path);
    const bool isLog = name == "/log/debug.csv";
    if (!streamFault || !(isLog || name == "/dev/kmsg" || name.starts_with("/config/"))) {
        return next(path, mode);
    }
    int cut = 0;
    if (Fails("StreamOpen", cut)) {
        return nullptr;
    }
    std::FILE* const file = next(isLog ? path : "/dev/null", mode);
    if (file != nullptr) {
        streams |= BitOf(::fileno(file));
    }
    return file;
}

VANTOREL_REPLACES int fclose(std::FILE* file) {
    static auto* const next = Next<int(std::FILE*)>("fclose");
    const int fd = ::fileno(file);
    const bool isStream = IsStream(fd);
    streams &= ~BitOf(fd);
    const int result = next(file); // also if it fails: the descriptor is closed then, too
    int cut = 0;
    return isStream && Fails("StreamClose", cut) ? EOF : result;
}

VANTOREL_REPLACES off64_t lseek64(int fd, off64_t offset, int whence) {
    static auto* const next = Next<off64_t(int, off64_t, int)>("lseek64");
    int cut = 0;
    return IsStream(fd) && Fails("StreamSeek", cut) ? -1 : next(fd, offset, whence);
}

VANTOREL_REPLACES ssize_t write(int fd, const void* data, std::size_t size) {
    static auto* const next = Next<ssize_t(int, const void*, std::size_t)>("write");
    int cut = 0;
    if (IsStream(fd) && Fails("StreamWrite", cut)) {
        return -1;
    }
    return next(fd, data, Shorten(size, cut));
}

VANTOREL_REPLACES ssize_t writev(int fd, const iovec* parts, int count) {
    static auto* const next = Next<ssize_t(int, const iovec*, int)>("writev");
    int cut = 0;
    if (IsStream(fd) && Fails("StreamWritev", cut)) {
        return -1;
    }
    if (cut == 0 || count != 2) {
        return next(fd, parts, count);
    }
    std::array<iovec, 2> shorter{parts[0], parts[1]};
    const std::size_t left = Shorten(parts[0].iov_len + parts[1].iov_len, cut);
    shorter[0].iov_len = std::min(left, parts[0].iov_len);
    shorter[1].iov_len = left - shorter[0].iov_len;
    return next(fd, shorter.data(), count);
}
