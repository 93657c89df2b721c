// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/devices/Button.h"

#include "vantorel/devices/private/WaitForInput.h"
#include "vantorel/service/Mutex.h"
#include "vantorel/service/private/Sleep.h"
#include "vantorel/service/private/Sys.h"

#include <array>
#include <cstddef>
#include <optional>
#include <set>
#include <utility>

#include <fcntl.h>
#include <linux/input.h>
#include <poll.h>

namespace vantorel {
namespace {

constexpr std::chrono::milliseconds pauseWithoutDevice{100};

/**
 * Whether a wait ended because the device is gone. Every later poll() then returns at once. It
 * also reports POLLIN while events remain, although reads no longer return them.
 */
bool IsGone(short found) {
    return (found & POLLIN) == 0 || (found & (POLLERR | POLLNVAL)) != 0;
}

/**
 * The buttons whose last returned press or release was a press. They are not in the object, whose
 * size is part of the binary interface.
 */
class PressedButtons {
public:
    void Note(const Button& button, bool isPressed) {
        const Lock lock(mutex);
        if (isPressed) {
            buttons.insert(&button);
        } else {
            buttons.erase(&button);
        }
    }
    bool Contains(const Button& button) {
        const Lock lock(mutex);
        return buttons.contains(&button);
    }

private:
    Mutex mutex;
    std::set<const Button*> buttons VANTOREL_GUARDED_BY(mutex);
};

PressedButtons& Pressed() {
    // Never destroyed: threads of buttons may outlive main().
    static auto& pressed = *new PressedButtons;
    return pressed;
}

bool IsDropped(const InputEventRecord& event) {
    return event.type == EV_SYN && event.code == SYN_DROPPED;
}

/** The state of a key. This request also discards the events of keys that have not been read. */
std::optional<bool> IsKeyDown(const UniqueFd& fd, int code) {
    std::array<unsigned char, KEY_CNT / 8> keys{};
    if (code < 0 || code >= KEY_CNT ||
        sys::Ioctl(fd.Get(), EVIOCGKEY(keys.size()), keys.data()) == -1) {
        return std::nullopt;
    }
    const auto index = static_cast<std::size_t>(code);
    return (keys[index / 8] >> index % 8 & 1) != 0;
}

} // namespace

#if defined(__arm__)
static_assert(sizeof(InputEventRecord) == sizeof(::input_event));
static_assert(offsetof(InputEventRecord, type) == offsetof(::input_event, type));
static_assert(offsetof(InputEventRecord, code) == offsetof(::input_event, code));
static_assert(offsetof(InputEventRecord, value) == offsetof(::input_event, value));
#endif

Button::Button(std::string deviceName, std::string devicePath, int keyCode)
    : Device(std::move(deviceName), std::move(devicePath), O_RDONLY), code(keyCode) {}

Button::~Button() {
    Pressed().Note(*this, false);
}

bool Button::operator==(const Button& other) const {
    return code == other.code && path == other.path;
}

InputEventRecord Button::WaitForEvent() {
    // Compare the zeroed record before the first wait: no key has code 0, and a button with this
    // code must not block its service forever.
    InputEventRecord event{};
    while (event.code != code) {
        const short found = WaitForInput(fd);
        // Input devices deliver whole records. A failed read leaves the previous record unchanged,
        // and that record belongs to another key.
        const ssize_t size = sys::Read(fd.Get(), &event, sizeof event);
        if (event.code == code) {
            break;
        }
        if (IsDropped(event)) {
            const std::optional<bool> isDown = IsKeyDown(fd, code);
            if (isDown && *isDown != Pressed().Contains(*this)) {
                event.type = EV_KEY;
                event.code = static_cast<std::uint16_t>(code);
                event.value = *isDown ? 1 : 0;
                break;
            }
        }
        if (size < 0 || IsGone(found)) {
            // Without the pause, a device that is gone, or whose reads fail although it has events,
            // would keep a processor busy.
            SleepFor(pauseWithoutDevice);
        }
    }
    if (event.value == 0 || event.value == 1) {
        // A repetition does not count: the press before it may not have been returned.
        Pressed().Note(*this, event.value == 1);
    }
    return event;
}

} // namespace vantorel
