// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/devices/private/Attribute.h"

#include "vantorel/service/UniqueFd.h"
#include "vantorel/service/private/OrThrow.h"
#include "vantorel/service/private/Sys.h"

#include <unistd.h>

namespace vantorel {

std::size_t ReadFromStart(const UniqueFd& fd, char* buffer, std::size_t size) {
    // A failed rewind is not an error by itself: if it matters, the read fails.
    static_cast<void>(sys::Lseek(fd.Get(), 0, SEEK_SET));
    return static_cast<std::size_t>(OrThrow(sys::Read(fd.Get(), buffer, size)));
}

} // namespace vantorel
