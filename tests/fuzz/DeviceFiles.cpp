// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "tests/fuzz/DeviceFiles.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace vantorel::test {
namespace {

DeviceFiles* active = nullptr;

} // namespace

DeviceFiles::DeviceFiles() {
    active = this;
    sys->Open = [this](const char* path, int flags, unsigned) {
        return ::open(PathOf(path, (flags & O_CREAT) != 0).c_str(), flags);
    };
    sys->Mkdir = [](const char*, mode_t) { return 0; };
    Write("/etc/kiro/version", "4.2\n");
    Write("/etc/kiro/revision", "REV-6\n");
}

DeviceFiles::~DeviceFiles() {
    active = nullptr;
}

void DeviceFiles::Write(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

std::string DeviceFiles::Read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string DeviceFiles::PathOf(const std::string& path, bool create) {
    static std::map<std::string, int> storage; // reused by the next object: creation is slow
    if (!present.contains(path) && !create) {
        return "";
    }
    int& fd = storage.try_emplace(path, -1).first->second;
    fd = fd == -1 ? ::memfd_create("text", MFD_CLOEXEC) : fd;
    if (present.insert(path).second && ::ftruncate(fd, 0) != 0) { // remains of the last object
        return "";
    }
    return "/proc/self/fd/" + std::to_string(fd); // opening this path gives a separate file offset
}

} // namespace vantorel::test

// C++ streams open files with this function. It replaces the one of the C library.
extern "C" __attribute__((visibility("default"))) std::FILE* fopen64(const char* path,
                                                                     const char* mode) {
    static const auto next = reinterpret_cast<decltype(&fopen64)>(::dlsym(RTLD_NEXT, "fopen64"));
    vantorel::test::DeviceFiles* const files = vantorel::test::active;
    return next(files != nullptr ? files->PathOf(path, *mode != 'r').c_str() : path, mode);
}
