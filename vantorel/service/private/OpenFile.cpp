// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/service/private/OpenFile.h"

#include "vantorel/service/private/OrThrow.h"
#include "vantorel/service/private/Sys.h"

#include <fcntl.h>

namespace vantorel {

UniqueFd OpenFile(const std::string& path, int flags) {
    return UniqueFd(OrThrow(sys::Open(path.c_str(), flags | O_CLOEXEC, 0)));
}

} // namespace vantorel
