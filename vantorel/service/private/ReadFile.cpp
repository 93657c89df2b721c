// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/service/private/ReadFile.h"

#include "vantorel/service/Error.h"
#include "vantorel/service/UniqueFd.h"
#include "vantorel/service/private/OpenFile.h"
#include "vantorel/service/private/Sys.h"

#include <array>
#include <cerrno>

#include <fcntl.h>

namespace vantorel {
namespace {

/** Appends the file's content; returns the errno of a failed read, or 0. */
int AppendContent(const UniqueFd& file, std::string& content) {
    std::array<char, 4096> buffer;
    for (;;) {
        const ssize_t count = sys::Read(file.Get(), buffer.data(), buffer.size());
        if (count == 0) {
            return 0;
        }
        if (count > 0) {
            content.append(buffer.data(), static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            return errno;
        }
    }
}

} // namespace

std::string ReadFile(const std::string& path) {
    const UniqueFd file = OpenFile(path, O_RDONLY);
    std::string content;
    if (const int error = AppendContent(file, content)) {
        throw Error(error);
    }
    return content;
}

std::string ReadFileIfPossible(const std::string& path) {
    const UniqueFd file(sys::Open(path.c_str(), O_RDONLY | O_CLOEXEC, 0));
    std::string content;
    if (file) {
        AppendContent(file, content);
    }
    return content;
}

} // namespace vantorel
