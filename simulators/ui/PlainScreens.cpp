// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "PlainScreens.h"

#include "Symbols.h"
#include "Theme.h"

#include <algorithm>

namespace vantorelui {

namespace {

constexpr Rect whole{0, 0, theme::width, theme::height};

constexpr Rect outline{160, 124, 160, 304};
constexpr Point outlineCenter{theme::middle, outline.y + outline.height / 2.0F};
constexpr float flashHeight = 92;

Rect Segment(int index) {
    constexpr int pitch = 28;
    return {outline.x + 14, outline.y + outline.height - 14 - 24 - index * pitch,
            outline.width - 28, 24};
}

} // namespace

void IdentityFooter::Refresh(Scene& scene) {
    const UiState& state = scene.state;
    if (!shown.Changes({state.sku, state.version})) {
        return;
    }
    scene.canvas.Fill({0, 580, theme::width, 60}, theme::background);
    scene.fonts.value.Draw(scene.canvas, {theme::middle, 600}, state.sku.View(), theme::muted,
                           Align::Center);
    scene.fonts.small.Draw(scene.canvas, {theme::middle, 622}, state.version.View(), theme::muted,
                           Align::Center);
}

void SplashScreen::Enter(Scene& scene) {
    Canvas& canvas = scene.canvas;
    canvas.Fill(whole, theme::background);
    DrawEmblem(canvas, theme::middle - 42, 190);
    scene.fonts.wordmark.Draw(canvas, {theme::middle, 338}, "VANTOREL", theme::text, Align::Center,
                              6);
    DrawPaletteStrip(canvas, {60, 360, 360, 4});
    scene.fonts.label.Draw(canvas, {theme::middle, 392}, "HANDHELD THERMAL IMAGING", theme::muted,
                           Align::Center, 4);
    footer.Forget();
}

void SplashScreen::Refresh(Scene& scene) {
    footer.Refresh(scene);
}

void ChargingScreen::Enter(Scene& scene) {
    Canvas& canvas = scene.canvas;
    canvas.Fill(whole, theme::background);
    canvas.RoundedRect({theme::width / 2 - 30, outline.y - 18, 60, 24}, 6, theme::rule);
    canvas.RoundedRect(outline, 20, theme::rule);
    canvas.RoundedRect({outline.x + 6, outline.y + 6, outline.width - 12, outline.height - 12}, 15,
                       theme::background);
    DrawFlash(canvas, outlineCenter, flashHeight, theme::text);
    scene.fonts.display.Prepare("0123456789- %");
    level.Forget();
    footer.Forget();
    std::for_each(colors.begin(), colors.end(), [](auto& color) { color.Forget(); });
}

void ChargingScreen::Refresh(Scene& scene) {
    constexpr std::int64_t step = 220; // milliseconds from one segment to the next
    const auto& battery = scene.state.battery;
    const int filled = battery ? (*battery * segments + 50) / 100 : 0;
    // The highlight moves from the filled segments to the top and stays there for one step.
    const int lit = filled + static_cast<int>(scene.milliseconds / step % (segments - filled + 2));
    const Color color = battery ? BatteryColor(*battery) : theme::muted;
    for (int i = 0; i < segments; ++i) {
        const Color shade = i < filled ? color
                            : i < lit  ? Mix(theme::background, color, 90)
                                       : theme::panel;
        if (colors[static_cast<std::size_t>(i)].Changes(shade)) {
            DrawSegment(scene, i, shade);
        }
    }
    if (level.Changes(battery)) {
        const bool full = battery && *battery >= 100;
        scene.canvas.Fill({0, 446, theme::width, 124}, theme::background);
        scene.fonts.display.Draw(scene.canvas, {theme::middle, 508},
                                 Readout::Percent(battery).View(), theme::text, Align::Center);
        scene.fonts.label.Draw(scene.canvas, {theme::middle, 546},
                               full ? "FULLY CHARGED" : "CHARGING",
                               full ? theme::good : theme::muted, Align::Center, 4);
    }
    footer.Refresh(scene);
}

/** Draws a segment and its part of the flash. Drawing a soft edge twice would thicken it. */
void ChargingScreen::DrawSegment(Scene& scene, int index, Color color) const {
    scene.canvas.ClipTo(Segment(index));
    scene.canvas.Fill(Segment(index), color);
    DrawFlash(scene.canvas, outlineCenter, flashHeight, theme::text);
    scene.canvas.Unclip();
}

void ErrorScreen::Enter(Scene& scene) {
    Canvas& canvas = scene.canvas;
    canvas.Fill(whole, theme::background);
    canvas.RoundedRect({302, 226, 14, 44}, 4, theme::rule);
    canvas.RoundedFrame({144, 188, 156, 120}, 18, 8, theme::rule);
    DrawWarning(canvas, 178, 200, 88, theme::bad, theme::background);
    scene.fonts.heading.Draw(canvas, {theme::middle, 384}, "No battery", theme::text,
                             Align::Center);
    scene.fonts.body.Draw(canvas, {theme::middle, 422}, "Insert a charged battery", theme::muted,
                          Align::Center);
    scene.fonts.body.Draw(canvas, {theme::middle, 448}, "to use the camera.", theme::muted,
                          Align::Center);
    footer.Forget();
}

void ErrorScreen::Refresh(Scene& scene) {
    footer.Refresh(scene);
}

} // namespace vantorelui
