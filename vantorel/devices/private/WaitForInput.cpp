#include "vantorel/devices/private/WaitForInput.h"

#include "vantorel/service/Error.h"
#include "vantorel/service/UniqueFd.h"
#include "vantorel/service/private/Sys.h"

#include <cerrno>

namespace vantorel {

short WaitForInput(const UniqueFd& fd) {
    pollfd waiting{fd.Get(), POLLIN, 0};
    const int ready = sys::Poll(&waiting, 1, -1);
    if (ready < 0) {
        throw Error(errno);
    }
    if (ready == 0) {
        throw Error(ETIMEDOUT);
    }
    return waiting.revents;
}

} // namespace vantorel
