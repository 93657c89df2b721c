// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "DisplayProcessor.h"

#include "TestPattern.h"
#include "kirocamera.h"

#include <algorithm>

namespace kirosim {

namespace {

/** Low gain has a coarser resolution and a range that includes hot objects. */
struct Gain {
    int step; /**< power of two */
    int low;
    int high;
    int noiseShift;
};
constexpr Gain Gains[] = {{4, -2000, 6000, 0}, {64, -2000, 32000, 2}};

constexpr int fixedLow = 0;
constexpr int fixedHigh = 6000;

/** The histogram spans -20 to about 62 degrees; hotter scenes saturate the image anyway. */
constexpr int histogramLow = -2000;
constexpr int histogramShift = 4;
/** The range of a scene is computed from every second pixel of every second line. */
constexpr std::size_t sampleStep = 2;
constexpr int samples = static_cast<int>(scenePixels / (sampleStep * sampleStep));

} // namespace

DisplayProcessor::DisplayProcessor() {
    for (std::int8_t& value : noise) {
        // The sum of four uniform distributions is close enough to normal: sigma 0.09 degrees.
        const std::uint32_t bits = Random();
        int sum = 0;
        for (unsigned shift = 0; shift < 32; shift += 8) {
            sum += static_cast<int>((bits >> shift) & 15U);
        }
        value = static_cast<std::int8_t>(sum - 30);
    }
}

void DisplayProcessor::Process(const ThermalScene& scene, const Modes& modes,
                               std::span<std::uint8_t, scenePixels> picture) {
    Measure(scene, modes.sensor);
    if (modes.display == KIROCAMERA_DISPLAY_MODE_HANDHELD) {
        const Range range = SceneRange();
        const bool first = previous.display != modes.display || previous.sensor != modes.sensor;
        const auto follow = [first](int& value, int target) {
            // The range changes slowly, so that the background does not flicker when the body
            // turns.
            value = first ? target : value + (target - value) / 8;
        };
        follow(automatic.low, range.low);
        follow(automatic.high, range.high);
        Map(automatic, picture);
    } else {
        Map({fixedLow, fixedHigh}, picture);
    }
    if (modes.debug != 0) {
        DrawTestPattern(picture);
    }
    previous = modes;
}

void DisplayProcessor::Measure(const ThermalScene& scene, int sensorMode) {
    const Gain& gain = Gains[sensorMode != 0 ? 1 : 0];
    const CentiDegrees* source = scene.Differences().data();
    CentiDegrees* target = measured.data();
    const int ambient = scene.Ambient();
    const int mask = ~(gain.step - 1);
    for (int y = 0; y < sceneHeight; ++y) {
        const std::size_t entry = Random() % (noise.size() - sceneWidth);
        const std::int8_t* grain = &noise[entry];
        for (int x = 0; x < sceneWidth; ++x) {
            const int value = *source++ + ambient + (*grain++ >> gain.noiseShift);
            *target++ = static_cast<CentiDegrees>(std::clamp(value & mask, gain.low, gain.high));
        }
    }

    int sum = 0;
    for (int y = sceneHeight / 2 - 1; y <= sceneHeight / 2 + 1; ++y) {
        for (int x = sceneWidth / 2 - 1; x <= sceneWidth / 2 + 1; ++x) {
            sum += measured[static_cast<std::size_t>(y * sceneWidth + x)];
        }
    }
    spot = static_cast<float>(sum) / 900.0F;
}

DisplayProcessor::Range DisplayProcessor::SceneRange() {
    histogram.fill(0);
    for (std::size_t y = 0; y < sceneHeight; y += sampleStep) {
        for (std::size_t x = 0; x < sceneWidth; x += sampleStep) {
            const int bin = (measured[y * sceneWidth + x] - histogramLow) >> histogramShift;
            ++histogram[static_cast<std::size_t>(
                std::clamp(bin, 0, static_cast<int>(histogram.size()) - 1))];
        }
    }
    // The extremes are cut off, so that a small hot spot does not reduce the contrast of the body.
    const auto percentile = [this](int count) {
        std::size_t bin = 0;
        while (bin + 1 < histogram.size() && (count -= histogram[bin]) > 0) {
            ++bin;
        }
        return histogramLow + (static_cast<int>(bin) << histogramShift);
    };
    Range range{percentile(samples / 200), percentile(samples - samples / 160)};
    range.high = std::max(range.high, range.low + 400); // a uniform scene would show only noise
    return range;
}

void DisplayProcessor::Map(const Range& range, std::span<std::uint8_t, scenePixels> picture) const {
    const int scale = (255 << 16) / (range.high - range.low);
    std::uint8_t* target = picture.data();
    for (const CentiDegrees value : measured) {
        const int span = std::clamp<int>(value, range.low, range.high) - range.low;
        *target++ = static_cast<std::uint8_t>((span * scale + (1 << 15)) >> 16);
    }
}

std::uint32_t DisplayProcessor::Random() {
    random ^= random << 13;
    random ^= random >> 17;
    random ^= random << 5;
    return random;
}

} // namespace kirosim
