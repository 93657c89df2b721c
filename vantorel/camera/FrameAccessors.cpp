// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/service/Export.h"

#include <kirocamera.h>

#include <cstddef>
#include <cstdint>

// The SDK fills this record, so its layout is part of the interface between the two libraries.
static_assert(offsetof(kiroframe_t, width) == 0 && offsetof(kiroframe_t, height) == 2);
static_assert(offsetof(kiroframe_t, channels) == 4 && offsetof(kiroframe_t, pixel_depth) == 5);
static_assert(offsetof(kiroframe_t, pixel_padding) == 6 && offsetof(kiroframe_t, line_stride) == 8);
static_assert(offsetof(kiroframe_t, line_padding) == 10 && offsetof(kiroframe_t, pixel_size) == 12);
static_assert(offsetof(kiroframe_t, data_size) == 16 && offsetof(kiroframe_t, header_size) == 20);
static_assert(offsetof(kiroframe_t, buffer) == 28);
static_assert(sizeof(kiroframe_t) == 28 + sizeof(void*));

namespace {

/** Returns the address of a byte in the frame's buffer; null when the frame has no buffer. */
std::uint8_t* At(const kiroframe_t* frame, std::size_t offset) {
    return frame->buffer != nullptr ? frame->buffer + offset : nullptr;
}

} // namespace

extern "C" {

VANTOREL_EXPORT uint32_t kiroframe_get_width(const kiroframe_t* frame) {
    return frame != nullptr ? frame->width : 0;
}

VANTOREL_EXPORT uint32_t kiroframe_get_height(const kiroframe_t* frame) {
    return frame != nullptr ? frame->height : 0;
}

VANTOREL_EXPORT uint32_t kiroframe_get_channels(const kiroframe_t* frame) {
    return frame != nullptr ? frame->channels : 0;
}

VANTOREL_EXPORT uint32_t kiroframe_get_pixel_depth(const kiroframe_t* frame) {
    return frame != nullptr ? frame->pixel_depth : 0;
}

VANTOREL_EXPORT uint32_t kiroframe_get_pixel_padding(const kiroframe_t* frame) {
    return frame != nullptr ? frame->pixel_padding : 0;
}

VANTOREL_EXPORT uint32_t kiroframe_get_line_stride(const kiroframe_t* frame) {
    return frame != nullptr ? frame->line_stride : 0;
}

VANTOREL_EXPORT uint32_t kiroframe_get_line_padding(const kiroframe_t* frame) {
    return frame != nullptr ? frame->line_padding : 0;
}

VANTOREL_EXPORT uint32_t kiroframe_get_header_size(const kiroframe_t* frame) {
    return frame != nullptr ? frame->header_size : 0;
}

VANTOREL_EXPORT uint8_t* kiroframe_get_header(const kiroframe_t* frame) {
    return frame != nullptr ? frame->buffer : nullptr;
}

VANTOREL_EXPORT uint32_t kiroframe_get_data_size(const kiroframe_t* frame) {
    return frame != nullptr ? frame->data_size : 0;
}

VANTOREL_EXPORT uint8_t* kiroframe_get_data(const kiroframe_t* frame) {
    return frame != nullptr ? At(frame, frame->header_size) : nullptr;
}

VANTOREL_EXPORT uint8_t* kiroframe_get_row(const kiroframe_t* frame, uint32_t y) {
    if (frame == nullptr || y >= frame->height) {
        return nullptr;
    }
    return At(frame, std::size_t{frame->header_size} + std::size_t{y} * frame->line_stride);
}

VANTOREL_EXPORT uint8_t* kiroframe_get_pixel(const kiroframe_t* frame, uint32_t x, uint32_t y) {
    if (frame == nullptr || x >= frame->width || y >= frame->height) {
        return nullptr;
    }
    return At(frame, std::size_t{frame->header_size} + std::size_t{x} * frame->pixel_size +
                         std::size_t{y} * frame->line_stride);
}

VANTOREL_EXPORT uint32_t kiroframe_is_empty(const kiroframe_t* frame) {
    return frame == nullptr || frame->height == 0 || frame->width == 0 || frame->channels == 0 ||
           frame->pixel_depth == 0;
}

} // extern "C"
