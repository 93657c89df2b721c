// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/ui/private/FrameCopy.h"

#include <cstring>
#include <limits>

namespace vantorel {

bool FrameCopy::Assign(const kiroframe_t& source) {
    const std::uint64_t whole = std::uint64_t{source.header_size} + source.data_size;
    // The UI library gets the address of the pixels and no size.
    if (source.buffer == nullptr || source.data_size == 0 ||
        whole > std::numeric_limits<std::size_t>::max()) {
        return false;
    }
    const auto size = static_cast<std::size_t>(whole);
    if (size > capacity) {
        // Without initialisation: the copy overwrites the whole buffer.
        buffer.reset(new std::uint8_t[size]);
        capacity = size;
    }
    std::memcpy(buffer.get(), source.buffer, size);
    image = source;
    image.buffer = buffer.get();
    return true;
}

} // namespace vantorel
