// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Export.h"

namespace vantorel {

/** Anything that can report whether it is connected: a charger, a test fixture. Thread-bound. */
class VANTOREL_EXPORT Connection {
public:
    /** @throws Error when the state cannot be read */
    virtual bool IsConnected() = 0;
    virtual ~Connection() = default;
};

} // namespace vantorel
