// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "ThermalScene.h"

#include <algorithm>
#include <cmath>

namespace kirosim {

namespace {

constexpr float tau = 6.2831853F;
/** Coordinates of shapes are in sixteenths of a pixel, so that movement is smooth. */
constexpr int subPixels = 16;

int ToSubPixels(float pixels) {
    return static_cast<int>(std::lround(pixels * subPixels));
}

/** Sine of the phase within a period; stays exact after days of uptime. */
float Wave(std::uint64_t nanoseconds, std::uint64_t periodSeconds) {
    const std::uint64_t period = periodSeconds * 1'000'000'000U;
    return std::sin(tau * static_cast<float>(nanoseconds % period) / static_cast<float>(period));
}

} // namespace

ThermalScene::ThermalScene() {
    Update(0);
}

void ThermalScene::Update(std::uint64_t nanoseconds) {
    // The period of every movement, in seconds, divides this number.
    constexpr std::uint64_t scenePeriod = 120;
    const auto seconds =
        static_cast<float>(nanoseconds % (scenePeriod * 1'000'000'000U) / 1000U) * 1e-6F;
    ambient =
        static_cast<CentiDegrees>(roomTemperature + std::lround(40.0F * Wave(nanoseconds, 600)));
    differences = room;
    DrawHotSpot(seconds);
    DrawBody(seconds);
}

void ThermalScene::Show(const Temperatures& picture) {
    ambient = roomTemperature;
    const auto difference = [](CentiDegrees temperature) {
        return static_cast<CentiDegrees>(std::max(temperature - roomTemperature, INT16_MIN));
    };
    std::transform(picture.begin(), picture.end(), differences.begin(), difference);
}

Temperatures ThermalScene::Picture() const {
    Temperatures picture;
    const auto sum = [this](CentiDegrees difference) {
        return static_cast<CentiDegrees>(std::clamp(difference + ambient, INT16_MIN, INT16_MAX));
    };
    std::transform(differences.begin(), differences.end(), picture.begin(), sum);
    return picture;
}

void ThermalScene::DrawBody(float seconds) {
    const float angle = tau * seconds / 20.0F - 0.7F;
    const float x = 80.0F + 58.0F * std::sin(angle);
    const float effort = std::abs(std::cos(angle)); // least at the turning points
    const float stride = x * tau / 38.0F;
    const float swing = (0.12F + 0.38F * effort) * std::sin(stride);
    const float bob = effort * std::abs(std::cos(stride));
    const float sway = 1.5F * std::sin(tau * seconds / 4.0F);

    const Point hip{x + sway * 0.3F, 66.0F - bob};
    const Point neck{x + sway, 32.0F - bob};
    const auto reach = [](Point from, float turn, float length) {
        return Point{from.x + length * std::sin(turn), from.y + length * std::cos(turn)};
    };
    for (const float side : {-1.0F, 1.0F}) {
        const float leg = side * swing;
        const Point thigh{hip.x + side * 3.5F, hip.y};
        const Point knee = reach(thigh, leg, 22.0F);
        const Point ankle = reach(knee, leg * 0.6F - 0.1F * effort, 22.0F);
        DrawCapsule(thigh, knee, 6.5F, 620, skin);
        DrawCapsule(knee, ankle, 4.5F, 480, skin);

        const Point shoulder{neck.x + side * 9.5F, neck.y + 6.0F};
        const Point elbow = reach(shoulder, -leg + side * 0.15F, 16.0F);
        const Point hand = reach(elbow, -leg * 1.3F, 15.0F);
        DrawCapsule(shoulder, elbow, 4.2F, 640, skin);
        DrawCapsule(elbow, hand, 3.4F, 900, skin);
    }
    DrawCapsule({neck.x, neck.y + 10.0F}, hip, 10.0F, 760, skin);
    DrawCapsule({neck.x, neck.y - 2.0F}, {neck.x, neck.y + 5.0F}, 4.0F, 1130, skin);
    DrawCapsule({neck.x, neck.y - 14.0F}, {neck.x, neck.y - 10.0F}, 7.2F, 900, skin);
    DrawCapsule({neck.x, neck.y - 11.0F}, {neck.x, neck.y - 6.0F}, 5.8F, 1210, skin);
}

void ThermalScene::DrawHotSpot(float seconds) {
    const Point middle{134.0F + 4.0F * std::cos(tau * seconds / 12.0F),
                       80.0F + 3.0F * std::sin(tau * seconds / 6.0F)};
    const int warmth = static_cast<int>(4600.0F + 600.0F * std::sin(tau * seconds / 5.0F));
    DrawCapsule(middle, {middle.x, middle.y + 5.0F}, 8.0F, warmth, glow);
}

void ThermalScene::DrawCapsule(Point from, Point to, float radius, int warmth,
                               const Profile& profile) {
    const int ax = ToSubPixels(from.x);
    const int ay = ToSubPixels(from.y);
    const int dx = ToSubPixels(to.x) - ax;
    const int dy = ToSubPixels(to.y) - ay;
    const int r = ToSubPixels(radius);
    const auto firstPixel = [r](int low) { return std::max((low - r) / subPixels, 0); };
    const int left = firstPixel(std::min(ax, ax + dx));
    const int top = firstPixel(std::min(ay, ay + dy));
    const int right = std::min((std::max(ax, ax + dx) + r) / subPixels + 1, sceneWidth);
    const int bottom = std::min((std::max(ay, ay + dy) + r) / subPixels + 1, sceneHeight);

    // The foot of the perpendicular moves uniformly along a line, so one division is enough for the
    // whole shape.
    const int length2 = std::max(dx * dx + dy * dy, 1);
    const std::int64_t perLength2 = (std::int64_t{1} << 32) / length2;
    const int footStep = static_cast<int>((subPixels * dx * perLength2) >> 16);
    const int radius2 = r * r;
    const auto toProfile = static_cast<unsigned>((64U << 15) / static_cast<unsigned>(radius2));

    for (int y = top; y < bottom; ++y) {
        const int py = y * subPixels + subPixels / 2 - ay;
        int px = left * subPixels + subPixels / 2 - ax;
        int foot = static_cast<int>(((px * dx + py * dy) * perLength2) >> 16);
        CentiDegrees* const line = &differences[static_cast<std::size_t>(y) * sceneWidth];
        for (int x = left; x < right; ++x, px += subPixels, foot += footStep) {
            const int along = std::clamp(foot, 0, 1 << 16);
            const int qx = px - ((dx * along) >> 16);
            const int qy = py - ((dy * along) >> 16);
            const int distance2 = qx * qx + qy * qy;
            if (distance2 >= radius2) {
                continue;
            }
            const unsigned index = (static_cast<unsigned>(distance2) * toProfile) >> 15;
            const int value = (warmth * profile[index]) >> 8;
            line[x] = static_cast<CentiDegrees>(std::max<int>(line[x], value));
        }
    }
}

Temperatures ThermalScene::Room() {
    Temperatures made{};
    for (int y = 0; y < sceneHeight; ++y) {
        for (int x = 0; x < sceneWidth; ++x) {
            // Warm air collects below the ceiling; the floor is cooler, and warmer at the front.
            int value = y < 96 ? 120 - 3 * y : -330 + 5 * (y - 96);
            value -= (x * x) / 200; // the far corner is an outer wall
            const bool window = x >= 96 && x < 142 && y >= 14 && y < 56;
            const bool frame = x < 98 || x >= 140 || y < 16 || y >= 54 || (x >= 118 && x < 120);
            if (window) {
                value = frame ? -260 : -640 + 4 * (y - 14);
            }
            const bool radiator = x >= 6 && x < 34 && y >= 68 && y < 92;
            if (radiator) {
                value = (x - 6) % 4 < 3 ? 520 - 5 * (y - 68) : 330;
            }
            made[static_cast<std::size_t>(y) * sceneWidth + static_cast<std::size_t>(x)] =
                static_cast<CentiDegrees>(value);
        }
    }
    return made;
}

ThermalScene::Profile ThermalScene::SkinProfile() {
    Profile profile{};
    for (std::size_t i = 0; i < profile.size(); ++i) {
        // Round limbs appear cooler towards their outline and end within about a pixel.
        const float u = (static_cast<float>(i) + 0.5F) / static_cast<float>(profile.size());
        const float inner = 1.0F - 0.22F * u;
        const float edge = std::clamp((1.0F - u) / 0.3F, 0.0F, 1.0F);
        profile[i] = static_cast<std::uint16_t>(256.0F * inner * edge);
    }
    return profile;
}

ThermalScene::Profile ThermalScene::GlowProfile() {
    Profile profile{};
    for (std::size_t i = 0; i < profile.size(); ++i) {
        const float u = (static_cast<float>(i) + 0.5F) / static_cast<float>(profile.size());
        profile[i] = static_cast<std::uint16_t>(256.0F * std::exp(-3.5F * u) * (1.0F - u));
    }
    return profile;
}

} // namespace kirosim
