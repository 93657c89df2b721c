#pragma once

#include "vantorel/devices/Device.h"
#include "vantorel/devices/InputEventRecord.h"

#include <string>

namespace vantorel {

/**
 * One key of an input event device. Several buttons may share a device node; each opens it for
 * itself and sees every event. Thread-bound.
 */
class VANTOREL_EXPORT Button final : public Device {
public:
    /**
     * @param deviceName the name by which observers know the button
     * @param devicePath the input event device
     * @param keyCode the key, numbered as in the kernel's input event codes
     * @throws Error with the errno of a failed open
     */
    Button(std::string deviceName, std::string devicePath, int keyCode);

    /** Whether both stand for the same key of the same device node, whatever their names. */
    bool operator==(const Button& other) const;

    /**
     * Blocks until an event carries the key's code and answers it; events of other keys are
     * consumed. The type of the event is not looked at. A button with code 0 does not wait but
     * answers an all-zero record. The wait goes on when the device disappears: since
     * poll() then returns at once, there is a pause of 100 ms after each look, so that the thread
     * takes no processor time. A device that comes back is a new one, to be opened by a new Button.
     * @throws Error with the errno of a failed wait, EINTR among them
     */
    InputEventRecord WaitForEvent();

private:
    int code;
};

} // namespace vantorel
