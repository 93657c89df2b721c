// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/UniqueFd.h"

#include <string>
#include <vector>

namespace vantorel {

/** The entries of a folder. */
struct Listing {
    std::vector<std::string> names; // up to the failure, in the file system's order
    int error = 0;                  // the errno of the failure, or 0
};

/**
 * Lists a folder, without "." and "..". The folder is closed when this returns, so a caller that
 * descends needs one descriptor, however deep the tree is.
 */
Listing ListFolder(const std::string& folder);

/** Opens a folder; the result is empty, and errno set, when it cannot be opened. */
UniqueFd OpenFolder(const std::string& folder);

/** Lists an open folder from its start of reading, once. */
Listing ListFolder(const UniqueFd& folder);

/** The path of an entry. */
inline std::string PathOf(const std::string& folder, const std::string& name) {
    return folder + '/' + name;
}

} // namespace vantorel
