// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/ConnectionState.h"
#include "vantorel/service/Error.h"
#include "vantorel/service/Export.h"

namespace vantorel {

/**
 * Receives what the ConnectionManager reports, on the manager's thread. An observer may be
 * thread-bound.
 */
class VANTOREL_EXPORT ConnectionObserver {
public:
    /** The device enters a state. The manager records it after every observer has returned. */
    virtual void OnConnectionStateChanged(ConnectionState newState, ConnectionState oldState) = 0;
    /** A poll failed, or an observer threw; the manager keeps its state and polls again. */
    virtual void OnConnectionError(Error& error) = 0;
    virtual ~ConnectionObserver() = default;
};

} // namespace vantorel
