// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/devices/Device.h"
#include "vantorel/devices/InputEventRecord.h"

#include <string>

namespace vantorel {

/**
 * One key of an input event device. Several buttons may share a device node; each opens it
 * separately and receives every event. Thread-bound.
 */
class VANTOREL_EXPORT Button final : public Device {
public:
    /**
     * @param deviceName the name by which observers identify the button
     * @param devicePath the input event device
     * @param keyCode the key's number in the kernel's input event codes
     * @throws Error with the errno of a failed open
     */
    Button(std::string deviceName, std::string devicePath, int keyCode);
    ~Button() override;

    /** Whether both are the same key of the same device node; names are not compared. */
    bool operator==(const Button& other) const;

    /**
     * Blocks until an event has the key's code and returns it; discards events of other keys. Does
     * not check the type of the event. A button with code 0 does not wait and returns an all-zero
     * record. The wait continues when the device disappears: poll() then returns at once, so a
     * pause of 100 ms follows each poll to save processor time. A device that reappears is a new
     * device and needs a new Button.
     *
     * When the kernel has dropped events because they were not read in time (SYN_DROPPED), the
     * key's state is read from the device (EVIOCGKEY). If it differs from the last press or release
     * that was returned, an event with this state is returned, so a dropped release does not leave
     * the key pressed. With this request the kernel also discards the key events that are queued
     * behind the dropped ones: a whole click among them is not returned. A key that is held when
     * the button is constructed is not returned as pressed, unless events were dropped: its first
     * event is a repetition or its release.
     * @throws Error with the errno of a failed wait, EINTR among them
     */
    InputEventRecord WaitForEvent();

private:
    int code;
};

} // namespace vantorel
