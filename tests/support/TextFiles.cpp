#include "tests/support/TextFiles.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

#include <fcntl.h>
#include <mntent.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vantorel::test {
namespace {

TextFiles* active = nullptr;

int FlagsOf(const char* mode) {
    const bool both = std::strchr(mode, '+') != nullptr;
    switch (*mode) {
    case 'r':
        return both ? O_RDWR : O_RDONLY;
    case 'w':
        return (both ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC;
    default:
        return (both ? O_RDWR : O_WRONLY) | O_CREAT | O_APPEND;
    }
}

} // namespace

TextFiles::TextFiles() {
    active = this;
}

TextFiles::~TextFiles() {
    active = nullptr;
}

int TextFiles::Storage(const std::string& path) {
    static std::map<std::string, int> storage; // kept for the next object: making one takes time
    int& fd = storage.try_emplace(path, -1).first->second;
    if (fd == -1) {
        fd = ::memfd_create("text", MFD_CLOEXEC);
    }
    if (present.insert(path).second && ::ftruncate(fd, 0) != 0) {
        std::abort();
    }
    return fd;
}

void TextFiles::Write(const std::string& path, const std::string& content) {
    const int fd = Storage(path);
    const auto size = static_cast<ssize_t>(content.size());
    if (::ftruncate(fd, size) != 0 || ::pwrite(fd, content.data(), content.size(), 0) != size) {
        std::abort();
    }
}

std::string TextFiles::Read(const std::string& path) {
    struct stat state {};
    ::fstat(Storage(path), &state);
    std::string content(static_cast<std::size_t>(state.st_size), '\0');
    const ssize_t size = ::pread(Storage(path), content.data(), content.size(), 0);
    return content.substr(0, static_cast<std::size_t>(size));
}

int TextFiles::Open(const std::string& path, int flags) {
    if (!present.contains(path) && (flags & O_CREAT) == 0) {
        errno = ENOENT;
        return -1;
    }
    // Through the link, for a position of its own.
    const std::string link = "/proc/self/fd/" + std::to_string(Storage(path));
    return ::open(link.c_str(), flags);
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
