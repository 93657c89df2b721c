// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Error.h"
#include "vantorel/service/Export.h"

namespace vantorel {

class Torch;

/**
 * Receives what a Torch reports, on the thread that switched it, or on the connection manager's:
 * each change to Battery reports the position without switching. After a write that failed, that is
 * the position that was requested. When another thread or an observer switches meanwhile, the
 * position may be reported twice; the last report is right. An observer must be thread-safe.
 */
class VANTOREL_EXPORT TorchObserver {
public:
    /** The torch is lit. */
    virtual void OnTorchOn(Torch& torch) = 0;
    /** The torch is dark. */
    virtual void OnTorchOff(Torch& torch) = 0;
    /** Reserved; never called: the torch throws its errors to the caller that switches it. */
    virtual void OnTorchError(Torch& torch, Error& error) = 0;
    virtual ~TorchObserver() = default;
};

} // namespace vantorel
