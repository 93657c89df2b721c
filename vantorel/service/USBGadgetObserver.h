#pragma once

#include "vantorel/service/Error.h"
#include "vantorel/service/Export.h"

namespace vantorel {

class USBGadget;

/**
 * What a USB host asks for through a gadget function, on the thread of that function.
 *
 * The stop request stands before the start request. Products compiled against this order exist: do
 * not sort it.
 */
class VANTOREL_EXPORT USBGadgetObserver {
public:
    /** The host wants the capture session stopped. */
    virtual void OnUSBGadgetStopCaptureSessionRequest(USBGadget& gadget) = 0;
    /** The host wants the capture session started. */
    virtual void OnUSBGadgetStartCaptureSessionRequest(USBGadget& gadget) = 0;
    /** Reserved; nothing sends it. */
    virtual void OnUSBGadgetError(USBGadget& gadget, Error& error) = 0;
    virtual ~USBGadgetObserver() = default;
};

} // namespace vantorel
