#include "vantorel/devices/private/Attribute.h"

#include "vantorel/service/Error.h"
#include "vantorel/service/UniqueFd.h"
#include "vantorel/service/private/Sys.h"

#include <cerrno>

#include <unistd.h>

namespace vantorel {

std::size_t ReadFromStart(const UniqueFd& fd, char* buffer, std::size_t size) {
    // Where rewinding is impossible, reading tells.
    static_cast<void>(sys::Lseek(fd.Get(), 0, SEEK_SET));
    const ssize_t count = sys::Read(fd.Get(), buffer, size);
    if (count < 0) {
        throw Error(errno);
    }
    return static_cast<std::size_t>(count);
}

} // namespace vantorel
