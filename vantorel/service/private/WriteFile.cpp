// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/service/private/WriteFile.h"

#include "vantorel/service/UniqueFd.h"
#include "vantorel/service/private/Sys.h"

#include <cerrno>

#include <fcntl.h>

namespace vantorel {
namespace {

/** Returns false when the file has not been replaced. */
bool Replace(const std::string& path, std::string_view content) {
    struct stat status {};
    mode_t mode = 0666;
    if (sys::Lstat(path.c_str(), &status) == 0) {
        if (!S_ISREG(status.st_mode)) {
            return false;
        }
        mode = status.st_mode & 07777;
    }
    const std::string replacement = path + ".new";
    if (!WriteFile(replacement, content, mode) ||
        sys::Rename(replacement.c_str(), path.c_str()) != 0) {
        sys::Unlink(replacement.c_str());
        return false;
    }
    // The new name survives a power cut only when its folder has been flushed.
    const std::string folder = path.substr(0, path.rfind('/') + 1) + '.';
    const UniqueFd directory(sys::Open(folder.c_str(), O_RDONLY | O_CLOEXEC, 0));
    Flush(directory.Get());
    return true;
}

} // namespace

bool WriteAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = sys::Write(fd, bytes.data(), bytes.size());
        if (count > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}

bool Flush(int fd) {
    int result = 0;
    do {
        result = sys::Fsync(fd);
    } while (result == -1 && errno == EINTR);
    return result == 0;
}

bool WriteFile(const std::string& path, std::string_view content, mode_t mode) {
    const UniqueFd file(sys::Open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode));
    return file && WriteAll(file.Get(), content) && Flush(file.Get());
}

void SaveFile(const std::string& path, std::string_view content) {
    if (!Replace(path, content)) {
        WriteFile(path, content);
    }
}

} // namespace vantorel
