#include "vantorel/service/Error.h"

#include <cstring>

namespace vantorel {

Error::~Error() = default;

std::string Error::ToString() const {
    // strerror() may answer from a shared buffer, and errors are printed on a dozen threads.
    char buffer[256] = {};
    return ::strerror_r(value, buffer, sizeof buffer);
}

} // namespace vantorel
