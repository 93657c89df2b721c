// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <filesystem>
#include <iterator>

namespace vantorel::test {

/** The number of open descriptors of this process. */
inline auto CountOpenDescriptors() {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return std::distance(begin(entries), end(entries));
}

} // namespace vantorel::test
