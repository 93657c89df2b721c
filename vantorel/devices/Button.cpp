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
 * Whether a wait has ended because the device is gone. The kernel then answers every later wait at
 * once, also by POLLIN when events were left behind, which no read gets any more.
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
    // The comparison comes before the first wait, on a zeroed record: code 0 is the code of no key,
    // and a button that was given it must not hold up its service for ever.
    InputEventRecord event{};
    while (event.code != code) {
        const short found = WaitForInput(fd);
        // Input devices deliver whole records. A read that fails leaves the last record in place,
        // and that one was of another key.
        static_cast<void>(sys::Read(fd.Get(), &event, sizeof event));
        if (event.code != code && IsGone(found)) {
            // Its user has lost a button; the rest of the camera must not lose the processor, too.
            SleepFor(pauseWithoutDevice);
        }
    }
    return event;
}

} // namespace vantorel
