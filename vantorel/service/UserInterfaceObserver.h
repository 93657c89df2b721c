#pragma once

#include "vantorel/service/Export.h"

namespace vantorel {

/**
 * What the user asks for, on the thread on which the UI library raises its event.
 */
class VANTOREL_EXPORT UserInterfaceObserver {
public:
    /** Turn the device off. */
    virtual void OnUserInterfacePowerOffRequest() = 0;
    /** Light the torch. */
    virtual void OnUserInterfaceTorchOnRequest() = 0;
    /** Put the torch out. */
    virtual void OnUserInterfaceTorchOffRequest() = 0;
    /** The power button was clicked twice. */
    virtual void OnUserInterfacePowerButtonDoubleClick() = 0;
    /** The torch button was clicked twice. */
    virtual void OnUserInterfaceTorchButtonDoubleClick() = 0;
    virtual ~UserInterfaceObserver() = default;
};

} // namespace vantorel
