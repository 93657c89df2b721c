// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "ThermalScene.h"

#include <array>
#include <cstdint>
#include <span>

namespace kirosim {

/** What an application selects on a camera. */
struct Modes {
    int display = 0; /**< 0 fixed range, 4 contrast follows the scene */
    int sensor = 0;  /**< 0 high gain, 1 low gain */
    int debug = 0;   /**< 1 test pattern over the image */
};

/** The sensor and the image processing: measures a scene and computes a grey image. */
class DisplayProcessor {
public:
    DisplayProcessor();

    void Process(const ThermalScene& scene, const Modes& modes,
                 std::span<std::uint8_t, scenePixels> picture);

    /** Mean of the middle of the last image. */
    float SpotCelsius() const { return spot; }

private:
    struct Range {
        int low = 0;
        int high = 0;
        friend bool operator==(const Range&, const Range&) = default;
    };

    void Measure(const ThermalScene& scene, int sensorMode);
    Range SceneRange();
    void Map(const Range& range, std::span<std::uint8_t, scenePixels> picture) const;
    std::uint32_t Random();

    /** Temperatures as the sensor sees them. */
    std::array<CentiDegrees, scenePixels> measured{};
    /** Pixel noise, computed once; every line of every frame starts at a random index. */
    std::array<std::int8_t, 4096> noise{};
    std::array<std::uint16_t, 512> histogram{};
    std::uint32_t random = 0x2545F491;
    Modes previous;
    Range automatic;
    float spot = 0.0F;
};

} // namespace kirosim
