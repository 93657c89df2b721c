// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vantorel {

/** A new file beside the one that it replaces; removed unless it takes that one's name. */
class NewFile {
public:
    explicit NewFile(const std::string& replaced) : name(replaced + ".XXXXXX") {
        descriptor = ::mkostemp(name.data(), O_CLOEXEC);
    }
    ~NewFile() {
        if (descriptor >= 0 && !name.empty()) {
            ::unlink(name.c_str());
        }
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    /** -1 if it could not be created; the caller closes it. */
    int Descriptor() const { return descriptor; }
    bool Rename(const std::string& target, mode_t mode) {
        if (::chmod(name.c_str(), mode) != 0 || ::rename(name.c_str(), target.c_str()) != 0) {
            return false;
        }
        name.clear();
        return true;
    }

private:
    std::string name;
    int descriptor = -1;
};

/** Writes and closes a file; false with errno when it is not complete. */
inline bool WriteAndClose(int descriptor, std::string_view data) {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(::fdopen(descriptor, "w"), &std::fclose);
    if (!file) {
        ::close(descriptor);
        return false;
    }
    const bool written = std::fwrite(data.data(), 1, data.size(), file.get()) == data.size() &&
                         std::fflush(file.get()) == 0;
    const int error = errno;
    const bool closed = std::fclose(file.release()) == 0; // a network file system writes only now
    errno = written ? errno : error;
    return written && closed;
}

/** The permissions of a file that a program creates. */
inline mode_t NewMode() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

/**
 * Writes a whole file. An older file of that name keeps its content until the new one is complete.
 * Devices and pipes are written directly.
 * @throws std::system_error that names the file
 */
inline void WriteFile(const std::string& name, std::string_view data) {
    const auto check = [&](bool done) {
        if (!done) {
            throw std::system_error(errno, std::generic_category(), name);
        }
    };
    struct stat old {};
    const bool exists = ::stat(name.c_str(), &old) == 0;
    if (exists && !S_ISREG(old.st_mode)) {
        const int descriptor = ::open(name.c_str(), O_WRONLY | O_CLOEXEC);
        check(descriptor >= 0);
        check(WriteAndClose(descriptor, data));
        return;
    }
    // Renaming would replace a file that its owner has protected, and a link.
    check(!exists || ::access(name.c_str(), W_OK) == 0);
    const std::string target = exists ? std::filesystem::canonical(name).string() : name;
    NewFile file(target);
    check(file.Descriptor() >= 0);
    check(WriteAndClose(file.Descriptor(), data));
    check(file.Rename(target, exists ? old.st_mode & 07777 : NewMode()));
}

} // namespace vantorel
