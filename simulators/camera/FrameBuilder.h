// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "DisplayProcessor.h"
#include "Recording.h"
#include "Settings.h"
#include "ThermalScene.h"

#include <array>
#include <cstdint>
#include <vector>

/** A frame as the callback receives it. */
struct kirocamera_frame {
    std::uint32_t format = 0;
    kiroframe_t image{};
    std::vector<std::uint8_t> storage;
};

namespace kirosim {

/** What differs between the frames of a camera. */
struct FrameRequest {
    std::uint32_t format = 0;
    std::uint64_t uptimeNanoseconds = 0;
    std::uint32_t frameCount = 0;
    Modes modes;
};

/** Builds frames alternately in two buffers; allocates only after a change of the settings. */
class FrameBuilder {
public:
    /** Builds a frame. It stays valid until the second call after this one. */
    kirocamera_frame& Build(const FrameRequest& request);

private:
    void TakeSettings();
    void Prepare(kirocamera_frame& frame);
    void UpdateScene(std::uint64_t uptimeNanoseconds);
    void WriteHeader(kirocamera_frame& frame, const FrameRequest& request);
    void WritePixels(kirocamera_frame& frame, const Modes& modes);
    void Resample(const kiroframe_t& image) const;

    ThermalScene scene;
    Player player;
    Recorder recorder;
    DisplayProcessor processor;
    FrameSettings settings;
    std::uint32_t settingsVersion = 0;
    std::array<std::uint8_t, scenePixels> picture{};
    std::array<kirocamera_frame, 2> frames;
    std::size_t next = 0;
};

} // namespace kirosim
