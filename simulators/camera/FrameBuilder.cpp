// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "FrameBuilder.h"

#include "FrameHeader.h"

#include <algorithm>
#include <utility>

namespace kirosim {

namespace {

kiroframe_t NativeGeometry() {
    kiroframe_t image{};
    image.width = sceneWidth;
    image.height = sceneHeight;
    image.channels = 1;
    image.pixel_depth = 8;
    image.line_stride = sceneWidth;
    image.pixel_size = 1;
    image.data_size = scenePixels;
    image.header_size = KIROCAMERA_SIM_HEADER_SIZE;
    return image;
}

} // namespace

kirocamera_frame& FrameBuilder::Build(const FrameRequest& request) {
    TakeSettings();
    kirocamera_frame& frame = frames[next];
    next ^= 1U;
    frame.format = request.format;
    Prepare(frame);
    UpdateScene(request.uptimeNanoseconds);
    WritePixels(frame, request.modes);
    WriteHeader(frame, request); // after the pixels: it contains their spot temperature
    return frame;
}

void FrameBuilder::TakeSettings() {
    const std::uint32_t version = Settings::Instance().FrameVersion();
    if (version == settingsVersion) {
        return;
    }
    FrameSettings latest = Settings::Instance().Frames();
    if (latest.played != settings.played) {
        player.Open(latest.played);
    }
    if (latest.recorded != settings.recorded) {
        recorder.Open(latest.recorded);
    }
    settings = std::move(latest);
    settingsVersion = version;
}

void FrameBuilder::UpdateScene(std::uint64_t uptimeNanoseconds) {
    Temperatures recorded;
    if (player.Read(recorded)) {
        scene.Show(recorded);
    } else {
        scene.Update(uptimeNanoseconds);
    }
    if (!settings.recorded.empty()) {
        recorder.Write(scene.Picture());
    }
}

void FrameBuilder::Prepare(kirocamera_frame& frame) {
    frame.image = settings.geometry.value_or(NativeGeometry());
    const std::size_t size = std::size_t{frame.image.header_size} + frame.image.data_size;
    // Exactly the size in the record, so that the address sanitizer reports reads beyond it.
    if (frame.storage.size() != size + settings.misalignment) {
        frame.storage = std::vector<std::uint8_t>(size + settings.misalignment);
    }
    frame.image.buffer = frame.storage.data() + settings.misalignment;
}

void FrameBuilder::WritePixels(kirocamera_frame& frame, const Modes& modes) {
    if (settings.geometry) {
        processor.Process(scene, modes, picture);
        Resample(frame.image);
    } else {
        std::uint8_t* const pixels = frame.image.buffer + frame.image.header_size;
        processor.Process(scene, modes, std::span<std::uint8_t, scenePixels>(pixels, scenePixels));
    }
}

void FrameBuilder::Resample(const kiroframe_t& image) const {
    const std::span data(image.buffer + image.header_size, image.data_size);
    for (std::size_t y = 0; y < image.height; ++y) {
        const std::size_t line = y * sceneHeight / image.height * sceneWidth;
        for (std::size_t x = 0; x < image.width; ++x) {
            const std::size_t offset = y * image.line_stride + x * image.pixel_size;
            if (offset < data.size()) {
                data[offset] = picture[line + x * sceneWidth / image.width];
            }
        }
    }
}

void FrameBuilder::WriteHeader(kirocamera_frame& frame, const FrameRequest& request) {
    const std::span bytes(frame.image.buffer, frame.image.header_size);
    FrameHeader header;
    header.uptimeNanoseconds = request.uptimeNanoseconds;
    header.chipId = settings.identity.chip_id;
    header.frameCount = request.frameCount;
    header.environmentCelsius = static_cast<float>(scene.Ambient()) / 100.0F;
    header.spotCelsius = processor.SpotCelsius();
    // The voltage across a diode, and thus the count, falls as the sensor gets warmer.
    header.diodeCounts = static_cast<std::uint32_t>(9000 - scene.Ambient() * 2 / 5);
    header.Write(bytes);
    if (settings.headerMask.any()) {
        for (std::size_t i = 0; i < std::min(bytes.size(), settings.headerMask.size()); ++i) {
            if (settings.headerMask.test(i)) {
                bytes[i] = settings.headerBytes[i];
            }
        }
    }
}

} // namespace kirosim
