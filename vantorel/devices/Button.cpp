#include "vantorel/devices/Button.h"

#include "vantorel/devices/private/WaitForInput.h"
#include "vantorel/service/private/Sleep.h"
#include "vantorel/service/private/Sys.h"

#include <cstddef>
#include <utility>

#include <fcntl.h>
#include <linux/input.h>
#include <poll.h>

namespace vantorel {
namespace {

constexpr std::chrono::milliseconds pauseWithoutDevice{100};

/**
 * Whether a wait ended because the device is gone. Every later poll() then returns at once, with
 * POLLIN too when events remain, although no read returns them any more.
 */
bool IsGone(short found) {
    return (found & POLLIN) == 0 || (found & (POLLERR | POLLNVAL)) != 0;
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

bool Button::operator==(const Button& other) const {
    return code == other.code && path == other.path;
}

InputEventRecord Button::WaitForEvent() {
    // Compare the zeroed record before the first wait: no key has code 0, and a button with this
    // code must not block its service forever.
    InputEventRecord event{};
    while (event.code != code) {
        const short found = WaitForInput(fd);
        // Input devices deliver whole records. A failed read leaves the last record unchanged, and
        // that record belongs to another key.
        static_cast<void>(sys::Read(fd.Get(), &event, sizeof event));
        if (event.code != code && IsGone(found)) {
            // Without the pause, a lost button would use a whole processor.
            SleepFor(pauseWithoutDevice);
        }
    }
    return event;
}

} // namespace vantorel
