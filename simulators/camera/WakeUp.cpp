// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "WakeUp.h"

#include <cerrno>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace kirosim {

WakeUp::WakeUp() : descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

WakeUp::~WakeUp() {
    ::close(descriptor);
}

void WakeUp::Signal() {
    ::eventfd_write(descriptor, 1);
}

void WakeUp::Clear() {
    eventfd_t count = 0;
    ::eventfd_read(descriptor, &count);
}

} // namespace kirosim
