// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <cstddef>

namespace vantorel {

class UniqueFd;

/**
 * Reads an open sysfs attribute from the start, for which the kernel generates its current text.
 * Returns the number of bytes, 0 for an empty attribute; throws Error(errno).
 */
std::size_t ReadFromStart(const UniqueFd& fd, char* buffer, std::size_t size);

} // namespace vantorel
