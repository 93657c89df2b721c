// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Error.h"
#include "vantorel/service/Export.h"

namespace vantorel {

class USBGadget;

/**
 * Receives what a USB host requests through a gadget function, on the thread of that function. An
 * observer of one function may be thread-bound.
 *
 * The stop request comes before the start request. Kept: the order is part of the binary interface
 * (vantorel/abi).
 */
class VANTOREL_EXPORT USBGadgetObserver {
public:
    /** The host wants the capture session stopped. */
    virtual void OnUSBGadgetStopCaptureSessionRequest(USBGadget& gadget) = 0;
    /** The host wants the capture session started. */
    virtual void OnUSBGadgetStartCaptureSessionRequest(USBGadget& gadget) = 0;
    /** Reserved; never called. */
    virtual void OnUSBGadgetError(USBGadget& gadget, Error& error) = 0;
    virtual ~USBGadgetObserver() = default;
};

} // namespace vantorel
