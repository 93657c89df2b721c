#pragma once

#include <cstddef>

namespace vantorel {

class UniqueFd;

/**
 * Reads a sysfs attribute that stays open: the kernel composes its text anew for a read from the
 * start. Answers the number of bytes, 0 for an empty attribute; throws Error(errno).
 */
std::size_t ReadFromStart(const UniqueFd& fd, char* buffer, std::size_t size);

} // namespace vantorel
