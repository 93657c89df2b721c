// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Passes arbitrary images of the camera SDK to the frame accessors and to every reader of a frame
// header.
//
// An input is the record before its pointer, then the header and the pixels.

#include "tests/fuzz/Demand.h"
#include "tests/fuzz/DeviceFiles.h"
#include "tests/fuzz/Frame.h"
#include "vantorel/camera/Camera.h"
#include "vantorel/logger/Logger.h"
#include "vantorel/ui/UserInterfaceManager.h"
#include "vantorel/usb/USBGadgetSubi.h"

#include <algorithm>
#include <cstring>
#include <iostream>
#include <memory>

namespace {

using namespace vantorel;
using test::Demand;
using test::image;

constexpr std::size_t recordSize = offsetof(kiroframe_t, buffer);

void ReadFields() {
    using Getter = std::uint32_t (*)(const kiroframe_t*);
    const std::pair<Getter, std::uint32_t> fields[] = {
        {kiroframe_get_width, image.width},
        {kiroframe_get_height, image.height},
        {kiroframe_get_channels, image.channels},
        {kiroframe_get_pixel_depth, image.pixel_depth},
        {kiroframe_get_pixel_padding, image.pixel_padding},
        {kiroframe_get_line_stride, image.line_stride},
        {kiroframe_get_line_padding, image.line_padding},
        {kiroframe_get_data_size, image.data_size},
        {kiroframe_get_header_size, image.header_size},
    };
    for (const auto& [get, value] : fields) {
        Demand(get(&image) == value && get(nullptr) == 0);
    }
    const bool empty = image.width == 0 || image.height == 0 || image.channels == 0 ||
                       image.pixel_depth == 0; // pointer and sizes are ignored
    Demand(::kiroframe_is_empty(&image) == (empty ? 1U : 0U));
    Demand(::kiroframe_is_empty(nullptr) == 1);
}

/** For any record, the accessors read no pixels and return only addresses within the image. */
void Address(std::uint32_t x, std::uint32_t y) {
    const auto at = [](bool inside, std::size_t offset) {
        return inside && image.buffer != nullptr ? image.buffer + offset : nullptr;
    };
    const std::size_t line = std::size_t{image.header_size} + std::size_t{y} * image.line_stride;
    const std::size_t pixel = line + std::size_t{x} * image.pixel_size;
    Demand(::kiroframe_get_row(&image, y) == at(y < image.height, line));
    Demand(::kiroframe_get_pixel(&image, x, y) == at(x < image.width && y < image.height, pixel));
    Demand(::kiroframe_get_header(&image) == image.buffer);
    Demand(::kiroframe_get_data(&image) == at(true, image.header_size));
    Demand(::kiroframe_get_row(nullptr, y) == nullptr);
    Demand(::kiroframe_get_pixel(nullptr, x, y) == nullptr);
    Demand(::kiroframe_get_header(nullptr) == nullptr && ::kiroframe_get_data(nullptr) == nullptr);
}

/** Passes a frame whose record fits its buffer to the observers of frames, as on the device. */
void Show() {
    const test::DeviceFiles files;
    Camera camera(nullptr);
    UserInterfaceManager screens;
    Logger logger("/log/");
    USBGadgetSubi subi("subi", "udc.0");
    for (CameraObserver* observer :
         std::initializer_list<CameraObserver*>{&screens, &logger, &subi}) {
        observer->OnCameraFrameAvailable(camera, nullptr);
    }
    LoggerEntry entry = logger.CreateEntry();
    static_cast<void>(entry.ToString(true, true, "\n"));
    logger.AddEntry(entry, std::chrono::milliseconds(0));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::cout.setstate(std::ios::failbit);
    if (size < recordSize) {
        return 0;
    }
    std::memcpy(static_cast<void*>(&image), data, recordSize);
    const std::size_t rest = size - recordSize;
    // A heap buffer of the exact size: the address sanitizer reports a read beyond its end.
    const auto buffer = std::make_unique<std::uint8_t[]>(rest);
    std::copy_n(data + recordSize, rest, buffer.get());
    image.buffer = image.reserved0 % 8 == 0 ? nullptr : buffer.get();
    ReadFields();
    for (const std::uint32_t x : {0U, image.width - 1U, std::uint32_t{image.width}, ~0U}) {
        for (const std::uint32_t y : {0U, image.height - 1U, std::uint32_t{image.height}, ~0U}) {
            Address(x, y);
        }
    }
    // The SDK guarantees that the buffer contains header and pixels.
    image.header_size = std::min(image.header_size, static_cast<std::uint32_t>(rest));
    image.data_size = static_cast<std::uint32_t>(rest) - image.header_size;
    Show();
    return 0;
}
