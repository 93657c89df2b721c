// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "tests/support/kernel/Ioctl.h"

#include <cstdint>
#include <functional>

#include <linux/loop.h>

namespace vantorel::test {

/** The kernel's loop devices; one of them is free.  */
class FakeLoop {
public:
    FakeLoop(IoctlRecorder& ioctls, int freeDevice) {
        ioctls.OnPlain(LOOP_CTL_GET_FREE, [freeDevice](void*) { return freeDevice; });
        ioctls.OnPlain(LOOP_SET_FD, [this](void* file) {
            onBind(static_cast<int>(reinterpret_cast<std::intptr_t>(file)));
            return 0;
        });
    }

    std::function<void(int file)> onBind = [](int) {};
};

} // namespace vantorel::test
