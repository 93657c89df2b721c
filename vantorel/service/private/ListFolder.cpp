// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/service/private/ListFolder.h"

#include "vantorel/service/private/Sys.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>

namespace vantorel {

UniqueFd OpenFolder(const std::string& folder) {
    return UniqueFd(sys::Open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
}

Listing ListFolder(const std::string& folder) {
    const UniqueFd fd = OpenFolder(folder);
    return fd ? ListFolder(fd) : Listing{{}, errno};
}

Listing ListFolder(const UniqueFd& folder) {
    Listing listing;
    std::array<char, 2048> buffer;
    ssize_t size = 0;
    while ((size = sys::Getdents(folder.Get(), buffer.data(), buffer.size())) > 0) {
        const char* entry = buffer.data();
        while (entry < buffer.data() + size) {
            const std::string_view name = entry + offsetof(dirent64, d_name);
            if (name != "." && name != "..") {
                listing.names.emplace_back(name);
            }
            unsigned short length = 0;
            std::memcpy(&length, entry + offsetof(dirent64, d_reclen), sizeof length);
            entry += length;
        }
    }
    listing.error = size < 0 ? errno : 0;
    return listing;
}

} // namespace vantorel
