// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/service/Error.h"

#include <cstring>

namespace vantorel {

Error::~Error() = default;

std::string Error::ToString() const {
    // strerror() may return a shared buffer, and several threads print errors.
    char buffer[256] = {};
    return ::strerror_r(value, buffer, sizeof buffer);
}

} // namespace vantorel
