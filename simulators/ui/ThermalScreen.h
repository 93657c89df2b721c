// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "Readout.h"
#include "Screen.h"

namespace vantorelui {

/** The live image between a status bar and the readings. */
class ThermalScreen : public Screen {
public:
    void Enter(Scene& scene) override;
    void Refresh(Scene& scene) override;

private:
    void DrawStatus(Scene& scene) const;
    void DrawPicture(Scene& scene, bool spotChanged) const;
    void DrawReadings(Scene& scene) const;
    void DrawDiagnostics(Scene& scene) const;
    void DrawIdentity(Scene& scene) const;

    struct Status {
        std::optional<std::uint8_t> battery;
        bool torchLit;
        bool overheating;
        FixedText<64> sku;
        bool operator==(const Status&) const = default;
    };
    struct Identity {
        FixedText<32> chip;
        FixedText<64> version;
        bool operator==(const Identity&) const = default;
    };
    Shown<Status> status;
    Shown<Readout> spot;
    Shown<Readout> environment;
    Shown<FixedText<640>> diagnostics;
    Shown<Identity> identity;
};

} // namespace vantorelui
