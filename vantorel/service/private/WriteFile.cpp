// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/service/private/WriteFile.h"

#include "vantorel/service/UniqueFd.h"
#include "vantorel/service/private/Sys.h"

#include <cerrno>

#include <fcntl.h>

namespace vantorel {
namespace {

bool IsWritable(const std::string& path) {
    return static_cast<bool>(UniqueFd(sys::Open(path.c_str(), O_WRONLY | O_CLOEXEC, 0)));
}

/** Writes a new file that differs from an old one in its content only; false when it cannot. */
bool WriteEqual(const std::string& path, std::string_view content, const struct stat& old) {
    struct stat status {};
    return WriteFile(path, content, old.st_mode & 07777) &&
           sys::Lstat(path.c_str(), &status) == 0 && status.st_mode == old.st_mode &&
           status.st_uid == old.st_uid && status.st_gid == old.st_gid;
}

/** Returns false when the file has not been replaced. */
bool Replace(const std::string& path, std::string_view content) {
    struct stat old {};
    const bool isNew = sys::Lstat(path.c_str(), &old) != 0;
    // A replacement needs rights to the folder only; without rights to the file, it stays.
    if (isNew ? errno != ENOENT : !S_ISREG(old.st_mode) || !IsWritable(path)) {
        return false;
    }
    const std::string replacement = path + ".new";
    if (!(isNew ? WriteFile(replacement, content) : WriteEqual(replacement, content, old)) ||
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

bool WriteFile(const std::string& path, std::string_view content, std::optional<mode_t> mode) {
    const UniqueFd file(
        sys::Open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode.value_or(0666)));
    // The process's mask does not apply to these permissions, nor does an earlier file's mode.
    return file && (!mode || sys::Fchmod(file.Get(), *mode) == 0) &&
           WriteAll(file.Get(), content) && Flush(file.Get());
}

void SaveFile(const std::string& path, std::string_view content) {
    if (!Replace(path, content)) {
        WriteFile(path, content);
    }
}

} // namespace vantorel
