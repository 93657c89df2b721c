// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "Canvas.h"
#include "Font.h"
#include "ThermalView.h"
#include "UiState.h"

#include <cstdint>
#include <optional>

namespace vantorelui {

/** What a screen needs to draw. */
struct Scene {
    Canvas& canvas;
    Fonts& fonts;
    ThermalView& thermal;
    const UiState& state;
    std::int64_t milliseconds; ///< drives animations
};

/** The content that a region of a screen shows; detects when the region must be redrawn. */
template <typename Content>
class Shown {
public:
    /** Stores the content; returns true when it differs from the content drawn last. */
    bool Changes(const Content& next) {
        if (content == next) {
            return false;
        }
        content = next;
        return true;
    }
    void Forget() { content.reset(); }

private:
    std::optional<Content> content;
};

/** One screen. It draws its background once and then only the regions whose content changes. */
class Screen {
public:
    virtual ~Screen() = default;

    /** Draws everything, whatever the canvas contains. */
    virtual void Enter(Scene& scene) = 0;
    /** Draws what has changed since the last call. */
    virtual void Refresh(Scene& scene) = 0;
};

} // namespace vantorelui
