#include "vantorel/ui/private/FrameCopy.h"

#include <cstring>

namespace vantorel {

bool FrameCopy::Assign(const kiroframe_t& source) {
    if (source.buffer == nullptr) {
        return false;
    }
    const std::size_t size = std::size_t{source.header_size} + source.data_size;
    if (size > capacity) {
        // Not value-initialised: the copy overwrites all of it at once.
        buffer.reset(new std::uint8_t[size]);
        capacity = size;
    }
    if (size > 0) { // else there may be nothing to copy to yet
        std::memcpy(buffer.get(), source.buffer, size);
    }
    image = source;
    image.buffer = buffer.get();
    return buffer != nullptr;
}

} // namespace vantorel
