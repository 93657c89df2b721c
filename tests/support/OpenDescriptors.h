#pragma once

#include <filesystem>
#include <iterator>

namespace vantorel::test {

/** How many descriptors this process has open. */
inline auto CountOpenDescriptors() {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return std::distance(begin(entries), end(entries));
}

} // namespace vantorel::test
