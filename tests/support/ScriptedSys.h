#pragma once

#include "vantorel/service/private/Sys.h"

#include <functional>

namespace vantorel::test {

/**
 * What a test puts in the place of system calls. An empty hook lets the call through to the kernel.
 *
 * Tests link this stand-in of the library's door instead of the door itself. Set the hooks before
 * threads start and let go of them (a new ScopedSys) after the threads have ended.
 */
struct SysHooks {
#define VANTOREL_DECLARE_HOOK(result, name, target, parameters, arguments)                         \
    std::function<result parameters> name;
    VANTOREL_SYSTEM_CALLS(VANTOREL_DECLARE_HOOK)
#undef VANTOREL_DECLARE_HOOK
};

/** Holds the hooks of one test; its destruction lets every call through again. */
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
