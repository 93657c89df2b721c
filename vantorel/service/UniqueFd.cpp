#include "vantorel/service/UniqueFd.h"

#include "vantorel/service/private/Sys.h"

#include <cerrno>

namespace vantorel {

void UniqueFd::Reset(int descriptor) {
    if (fd >= 0) {
        const int savedErrno = errno;
        // A close interrupted by a signal has closed the descriptor all the same on Linux.
        static_cast<void>(sys::Close(fd));
        errno = savedErrno;
    }
    fd = descriptor;
}

} // namespace vantorel
