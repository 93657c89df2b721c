// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "tests/support/ScriptedSys.h"

#include "vantorel/service/private/SysFunctions.h"

#include <atomic>
#include <cerrno>

namespace vantorel::test {
namespace {

std::atomic<SysHooks*> active{nullptr};

} // namespace

ScopedSys::ScopedSys() {
    // A scripted fork() also applies to spawned children.
    hooks.Spawn = [this](pid_t* child, const char* path, const posix_spawn_file_actions_t* actions,
                         const posix_spawnattr_t* attributes, char* const* arguments,
                         char* const* environment) {
        if (!hooks.Fork) {
            return ::posix_spawn(child, path, actions, attributes, arguments, environment);
        }
        *child = hooks.Fork();
        return *child == -1 ? errno : 0;
    };
    active = &hooks;
}
ScopedSys::~ScopedSys() {
    active = nullptr;
}

int FailWith(int error) {
    errno = error;
    return -1;
}

} // namespace vantorel::test

namespace vantorel::sys {

#define VANTOREL_DEFINE_STAND_IN(result, name, target, parameters, arguments)                      \
    result name parameters {                                                                       \
        const test::SysHooks* hooks = test::active;                                                \
        return hooks != nullptr && hooks->name ? hooks->name arguments : target arguments;         \
    }
VANTOREL_SYSTEM_CALLS(VANTOREL_DEFINE_STAND_IN)
#undef VANTOREL_DEFINE_STAND_IN

} // namespace vantorel::sys
