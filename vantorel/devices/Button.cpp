#include "vantorel/devices/Button.h"

#include "vantorel/devices/private/WaitForInput.h"
#include "vantorel/service/private/Sys.h"

#include <utility>

#include <fcntl.h>
#include <linux/input.h>

namespace vantorel {

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
        WaitForInput(fd);
        // Input devices deliver whole records. A read that fails leaves the last record in place,
        // and that one was of another key.
        static_cast<void>(sys::Read(fd.Get(), &event, sizeof event));
    }
    return event;
}

} // namespace vantorel
