#include "vantorel/devices/private/OpenFile.h"

#include "vantorel/service/Error.h"
#include "vantorel/service/private/Sys.h"

#include <cerrno>

#include <fcntl.h>

namespace vantorel {

UniqueFd OpenFile(const std::string& path, int flags) {
    UniqueFd fd(sys::Open(path.c_str(), flags | O_CLOEXEC, 0));
    if (!fd) {
        throw Error(errno);
    }
    return fd;
}

} // namespace vantorel
