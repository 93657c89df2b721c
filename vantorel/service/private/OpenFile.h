// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/UniqueFd.h"

#include <string>

namespace vantorel {

/** Opens an existing file, which children do not inherit (O_CLOEXEC); throws Error(errno). */
UniqueFd OpenFile(const std::string& path, int flags);

} // namespace vantorel
