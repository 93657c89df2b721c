// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Error.h"
#include "vantorel/service/Export.h"

namespace vantorel {

class Button;

/**
 * Receives what a ButtonService reports, on the thread of that service. An observer of one
 * service may be thread-bound, an observer of several must be thread-safe.
 */
class VANTOREL_EXPORT ButtonObserver {
public:
    /** The key was released. */
    virtual void OnButtonUp(Button& button) = 0;
    /** The key was pressed. */
    virtual void OnButtonDown(Button& button) = 0;
    /** Waiting for the key failed; the service continues. */
    virtual void OnButtonError(Button& button, Error& error) = 0;
    virtual ~ButtonObserver() = default;
};

} // namespace vantorel
