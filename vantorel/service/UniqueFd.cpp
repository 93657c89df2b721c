// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/service/UniqueFd.h"

#include "vantorel/service/private/Sys.h"

#include <cerrno>

namespace vantorel {

void UniqueFd::Reset(int descriptor) {
    if (fd >= 0) {
        const int savedErrno = errno;
        // On Linux, a close interrupted by a signal has still closed the descriptor.
        static_cast<void>(sys::Close(fd));
        errno = savedErrno;
    }
    fd = descriptor;
}

} // namespace vantorel
