// Plays arbitrary images of the camera's SDK to the frame accessors and to everything that looks
// into a frame's header.
//
// An input is the record before its pointer, then the header and the pixels.

#include "vantorel/camera/Camera.h"
#include "vantorel/logger/Logger.h"
#include "vantorel/usb/USBGadgetSubi.h"

#include "tests/fuzz/Demand.h"
#include "tests/support/ScriptedSys.h"
#include "tests/support/TextFiles.h"
#include "vantorel/ui/UserInterfaceManager.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>

namespace {

using namespace vantorel;
using vantorel::test::Demand;

constexpr std::size_t recordSize = offsetof(kiroframe_t, buffer);

kiroframe_t image{};

/** Whatever the record says, nothing is read; where it is true, nothing is outside of the buffer.
 */
void Address(std::size_t size, std::uint32_t x, std::uint32_t y) {
    const std::uint8_t* const row = ::kiroframe_get_row(&image, y);
    const std::uint8_t* const pixel = ::kiroframe_get_pixel(&image, x, y);
    const bool inside = x < image.width && y < image.height && image.buffer != nullptr;
    Demand((pixel != nullptr) == inside);
    Demand((row != nullptr) == (y < image.height && image.buffer != nullptr));
    const std::uint64_t lines = std::uint64_t{image.line_stride} * image.height;
    const std::uint64_t line = std::uint64_t{image.pixel_size} * image.width;
    if (pixel != nullptr && image.header_size + lines <= size && line <= image.line_stride) {
        Demand(image.buffer <= row && row <= pixel);
        Demand(pixel + image.pixel_size <= image.buffer + size);
    }
    Demand(::kiroframe_get_header(&image) == image.buffer);
    Demand(::kiroframe_get_data(&image) ==
           (image.buffer != nullptr ? image.buffer + image.header_size : nullptr));
    Demand((::kiroframe_is_empty(&image) != 0) == (image.width == 0 || image.height == 0 ||
                                                   image.channels == 0 || image.pixel_depth == 0));
}

/** As on the device: whoever is told of frames, with a record that keeps to its buffer. */
void Show() {
    test::ScopedSys sys;
    test::TextFiles files;
    sys->Mkdir = [](const char*, mode_t) { return 0; };
    files.Write("/etc/kiro/version", "4.2\n");
    files.Write("/etc/kiro/revision", "REV-6\n");
    Camera camera(nullptr);
    UserInterfaceManager screens;
    Logger logger("/log/");
    USBGadgetSubi subi("subi", "udc.0");
    CameraObserver* const observers[] = {&screens, &logger, &subi};
    for (CameraObserver* observer : observers) {
        observer->OnCameraFrameAvailable(camera, nullptr);
    }
    LoggerEntry entry = logger.CreateEntry();
    const std::size_t kept = std::min<std::size_t>(image.header_size, entry.frameHeader.size());
    Demand(image.buffer == nullptr ||
           std::equal(image.buffer, image.buffer + kept, entry.frameHeader.begin()));
    static_cast<void>(entry.ToString(true, true, "\n"));
    logger.AddEntry(entry, std::chrono::milliseconds(0));
}

} // namespace

extern "C" kirocamera_error_t kirocamera_frame_get_frame_by_format(kirocamera_frame_t*, uint32_t,
                                                                   kiroframe_t** answer) {
    *answer = &image;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::cout.setstate(std::ios::failbit);
    if (size < recordSize) {
        return 0;
    }
    std::memcpy(static_cast<void*>(&image), data, recordSize);
    const std::size_t rest = size - recordSize;
    // On the heap, to its last byte: the address sanitizer sees who reads behind it.
    const auto buffer = std::make_unique<std::uint8_t[]>(rest);
    std::copy_n(data + recordSize, rest, buffer.get());
    image.buffer = image.reserved0 % 8 == 0 ? nullptr : buffer.get();
    for (const std::uint32_t x : {0U, image.width - 1U, std::uint32_t{image.width}, ~0U}) {
        for (const std::uint32_t y : {0U, image.height - 1U, std::uint32_t{image.height}, ~0U}) {
            Address(rest, x, y);
        }
    }
    // The SDK's promise is that the buffer holds header and pixels.
    image.header_size = std::min(image.header_size, static_cast<std::uint32_t>(rest));
    image.data_size = static_cast<std::uint32_t>(rest) - image.header_size;
    Show();
    return 0;
}
