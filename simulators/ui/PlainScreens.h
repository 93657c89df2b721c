// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "Readout.h"
#include "Screen.h"

#include <array>

namespace vantorelui {

/** SKU and version at the bottom of the screens without a live image. */
class IdentityFooter {
public:
    void Forget() { shown.Forget(); }
    void Refresh(Scene& scene);

private:
    struct Identity {
        FixedText<64> sku;
        FixedText<64> version;
        bool operator==(const Identity&) const = default;
    };
    Shown<Identity> shown;
};

/** The product's name, shown until the first frame. */
class SplashScreen : public Screen {
public:
    void Enter(Scene& scene) override;
    void Refresh(Scene& scene) override;

private:
    IdentityFooter footer;
};

/** A battery symbol that fills. */
class ChargingScreen : public Screen {
public:
    void Enter(Scene& scene) override;
    void Refresh(Scene& scene) override;

private:
    static constexpr int segments = 10;

    void DrawSegment(Scene& scene, int index, Color color) const;

    Shown<std::optional<std::uint8_t>> level;
    std::array<Shown<Color>, segments> colors;
    IdentityFooter footer;
};

/** Shown when the device has no battery. */
class ErrorScreen : public Screen {
public:
    void Enter(Scene& scene) override;
    void Refresh(Scene& scene) override;

private:
    IdentityFooter footer;
};

} // namespace vantorelui
