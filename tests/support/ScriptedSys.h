// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/private/Sys.h"

#include <functional>

namespace vantorel::test {

/**
 * A test's replacements of system calls. An empty hook passes the call to the kernel.
 *
 * Tests link these hooks instead of the library's system-call layer. Set the hooks before threads
 * start, and reset them (with a new ScopedSys) only after the threads have ended.
 */
struct SysHooks {
#define VANTOREL_DECLARE_HOOK(result, name, target, parameters, arguments)                         \
    std::function<result parameters> name;
    VANTOREL_SYSTEM_CALLS(VANTOREL_DECLARE_HOOK)
#undef VANTOREL_DECLARE_HOOK
};

/** Owns the hooks of one test; after its destruction, every call reaches the kernel again. */
class ScopedSys {
public:
    ScopedSys();
    ~ScopedSys();
    ScopedSys(const ScopedSys&) = delete;
    ScopedSys& operator=(const ScopedSys&) = delete;

    SysHooks* operator->() { return &hooks; }

private:
    SysHooks hooks;
};

/** Sets errno and returns -1, as a failed system call does. */
int FailWith(int error);

} // namespace vantorel::test
