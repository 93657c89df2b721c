#include "tests/support/TextFiles.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>

#include <fcntl.h>
#include <mntent.h>
#include <sys/mman.h>

namespace vantorel::test {
namespace {

TextFiles* active = nullptr;

int FlagsOf(const char* mode) {
    const bool reads = *mode == 'r';
    const int flags = std::strchr(mode, '+') != nullptr ? O_RDWR : reads ? O_RDONLY : O_WRONLY;
    return reads ? flags : flags | O_CREAT | (*mode == 'w' ? O_TRUNC : O_APPEND);
}

} // namespace

TextFiles::TextFiles() {
    active = this;
}

TextFiles::~TextFiles() {
    active = nullptr;
}

void TextFiles::Write(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

std::string TextFiles::Read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

int TextFiles::Open(const std::string& path, int flags) {
    static std::map<std::string, int> storage; // kept for the next object: making one takes time
    if (!present.contains(path)) {
        if ((flags & O_CREAT) == 0) {
            errno = ENOENT;
            return -1;
        }
        present.insert(path);
        flags |= O_TRUNC; // what the last object had there
    }
    int& fd = storage.try_emplace(path, -1).first->second;
    fd = fd == -1 ? ::memfd_create("text", MFD_CLOEXEC) : fd;
    // Through the link, for a position of its own.
    return ::open(("/proc/self/fd/" + std::to_string(fd)).c_str(), flags);
}

} // namespace vantorel::test

// What C++ streams open files with. Seen by their library, it takes the place of the C library's.
extern "C" __attribute__((visibility("default"))) std::FILE* fopen64(const char* path,
                                                                     const char* mode) {
    const int flags = vantorel::test::FlagsOf(mode);
    vantorel::test::TextFiles* const files = vantorel::test::active;
    const int fd = files != nullptr ? files->Open(path, flags) : ::open(path, flags, 0666);
    return fd >= 0 ? ::fdopen(fd, mode) : nullptr;
}

extern "C" __attribute__((visibility("default"))) std::FILE* setmntent(const char* path,
                                                                       const char* mode) {
    return fopen64(path, mode);
}
