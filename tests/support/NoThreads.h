// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "tests/support/PrivateMounts.h"

#include <cstdint>

#include <pthread.h>

namespace vantorel::test {

/** From here on no thread can be created in this process. Returns the attributes before. */
inline pthread_attr_t AllowNoThreads() {
    pthread_attr_t before;
    pthread_attr_t tooLarge;
    Must(::pthread_getattr_default_np(&before));
    Must(::pthread_attr_init(&tooLarge));
    Must(::pthread_attr_setstacksize(&tooLarge, SIZE_MAX / 4 * 3 + 3));
    Must(::pthread_setattr_default_np(&tooLarge));
    return before;
}

} // namespace vantorel::test
