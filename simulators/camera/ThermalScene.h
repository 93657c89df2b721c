// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "kirocamera_sim.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace kirosim {

inline constexpr int sceneWidth = KIROCAMERA_SIM_WIDTH;
inline constexpr int sceneHeight = KIROCAMERA_SIM_HEIGHT;
inline constexpr std::size_t scenePixels = std::size_t{sceneWidth} * sceneHeight;

/** A temperature, or a difference of two, in hundredths of a degree Celsius. */
using CentiDegrees = std::int16_t;

/** An image, line by line. */
using Temperatures = std::array<CentiDegrees, scenePixels>;

/**
 * A room with a window, in which a person walks back and forth past a hot object.
 *
 * All pixel operations use integers, since QEMU emulates the virtual device's floating point in
 * software.
 */
class ThermalScene {
public:
    ThermalScene();

    /** Computes the scene at a time since the camera was switched on. */
    void Update(std::uint64_t nanoseconds);
    /** Shows an image instead of the scene, in a room at 22 degrees. */
    void Show(const Temperatures& picture);

    /** The image. */
    Temperatures Picture() const;
    /** Differences from the ambient temperature, line by line. */
    const Temperatures& Differences() const { return differences; }
    CentiDegrees Ambient() const { return ambient; }

private:
    static constexpr CentiDegrees roomTemperature = 2200;

    struct Point {
        float x;
        float y;
    };
    /** Weights up to 256 by squared distance from the middle, in 64ths of the squared radius. */
    using Profile = std::array<std::uint16_t, 64>;

    void DrawBody(float seconds);
    void DrawHotSpot(float seconds);
    void DrawCapsule(Point from, Point to, float radius, int warmth, const Profile& profile);

    static Temperatures Room();
    static Profile SkinProfile();
    static Profile GlowProfile();

    const Temperatures room = Room();
    const Profile skin = SkinProfile();
    const Profile glow = GlowProfile();
    Temperatures differences{};
    CentiDegrees ambient = roomTemperature;
};

} // namespace kirosim
