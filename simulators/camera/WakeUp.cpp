// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "WakeUp.h"

#include <cerrno>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace kirosim {

WakeUp::WakeUp() : descriptor_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (descriptor_ < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

WakeUp::~WakeUp() {
    ::close(descriptor_);
}

void WakeUp::Signal() {
    ::eventfd_write(descriptor_, 1);
}

void WakeUp::Clear() {
    eventfd_t count = 0;
    ::eventfd_read(descriptor_, &count);
}

} // namespace kirosim
