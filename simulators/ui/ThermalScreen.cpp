// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "ThermalScreen.h"

#include "Symbols.h"
#include "Theme.h"

namespace vantorelui {

namespace {

constexpr float rightEdge = theme::width - 20.0F;
constexpr int pictureTop = 56;
constexpr int pictureEnd = pictureTop + ThermalView::height;
constexpr int readingsTop = pictureEnd + 6;
constexpr int readingsHeight = 92;
constexpr int numbersTop = readingsTop + 36;
constexpr int diagnosticsTop = readingsTop + readingsHeight;
constexpr int identityTop = 612;

constexpr int centerX = ThermalView::width / 2;
constexpr int centerY = pictureTop + ThermalView::height / 2;

// The label of the spot covers whole camera pixels, so that only these need to be redrawn below it.
constexpr Rect labelSource{50, 70, 60, 10};
constexpr int labelTop = pictureTop + labelSource.y * ThermalView::scale;
constexpr int labelHeight = labelSource.height * ThermalView::scale;

/** Removes the first line of the text, or the part of it that fits, and returns it. */
std::string_view TakeLine(std::string_view& text, Font& font, float width) {
    std::string_view line = text.substr(0, text.find('\n'));
    const std::size_t fitting = font.Fit(line, width);
    if (fitting < line.size()) {
        // A word that is longer than a line is broken at any character.
        const std::size_t space = line.rfind(' ', fitting);
        line = line.substr(0, space == 0 || space == std::string_view::npos ? fitting : space);
    }
    text.remove_prefix(line.size());
    if (!text.empty() && (text.front() == '\n' || text.front() == ' ')) {
        text.remove_prefix(1);
    }
    return line;
}

} // namespace

void ThermalScreen::Enter(Scene& scene) {
    Canvas& canvas = scene.canvas;
    canvas.Fill({0, 0, theme::width, theme::height}, theme::background);
    DrawPaletteStrip(canvas, {0, pictureEnd, theme::width, 6});
    scene.thermal.DrawAll(canvas, pictureTop);
    canvas.Fill({0, readingsTop, theme::width, readingsHeight}, theme::panel);
    scene.fonts.label.Draw(canvas, {20, readingsTop + 22}, "SPOT", theme::accent, Align::Left, 2);
    scene.fonts.label.Draw(canvas, {rightEdge, readingsTop + 22}, "ENVIRONMENT", theme::muted,
                           Align::Right, 2);
    // Readings change while the live image is shown, and a frame must not wait for the rasteriser.
    for (Font* font : {&scene.fonts.display, &scene.fonts.reading, &scene.fonts.value}) {
        font->Prepare("0123456789.- %\u00B0CF");
    }
    status.Forget();
    spot.Forget();
    environment.Forget();
    diagnostics.Forget();
    identity.Forget();
}

void ThermalScreen::Refresh(Scene& scene) {
    const UiState& state = scene.state;
    if (status.Changes({state.battery, state.torchLit, state.overheating, state.sku})) {
        DrawStatus(scene);
    }
    const bool spotChanged = spot.Changes(Readout::Temperature(state.spot, state.fahrenheit));
    const bool environmentChanged =
        environment.Changes(Readout::Temperature(state.environment, state.fahrenheit));
    if (scene.thermal.IsNew() || spotChanged) {
        DrawPicture(scene, spotChanged);
    }
    if (spotChanged || environmentChanged) {
        DrawReadings(scene);
    }
    if (diagnostics.Changes(state.debug)) {
        DrawDiagnostics(scene);
    }
    if (identity.Changes({state.chip, state.version})) {
        DrawIdentity(scene);
    }
}

void ThermalScreen::DrawStatus(Scene& scene) const {
    const UiState& state = scene.state;
    Canvas& canvas = scene.canvas;
    canvas.Fill({0, 0, theme::width, pictureTop}, theme::panel);
    const std::string_view sku = state.sku.View();
    scene.fonts.value.Draw(canvas, {20, 35}, sku.substr(0, scene.fonts.value.Fit(sku, 220)),
                           theme::text);
    DrawBattery(canvas, 416, 17, state.battery);
    scene.fonts.value.Draw(canvas, {406, 35}, Readout::Percent(state.battery).View(), theme::text,
                           Align::Right);
    if (state.torchLit) {
        DrawTorch(canvas, 300, 17, theme::warning);
    }
    if (state.overheating) {
        DrawWarning(canvas, 250, 12, 32, theme::bad, theme::text);
    }
}

void ThermalScreen::DrawPicture(Scene& scene, bool spotChanged) const {
    Canvas& canvas = scene.canvas;
    if (scene.thermal.IsNew()) {
        scene.thermal.DrawAll(canvas, pictureTop);
    } else if (spotChanged) {
        scene.thermal.DrawPart(canvas, pictureTop, labelSource);
    }
    DrawCrossHair(canvas, centerX, centerY);
    const Readout temperature = Readout::Temperature(scene.state.spot, scene.state.fahrenheit);
    const int width = static_cast<int>(scene.fonts.value.Width(temperature.View())) + 20;
    canvas.Tint({centerX - width / 2, labelTop, width, labelHeight}, 0x000000, 150);
    scene.fonts.value.Draw(canvas, {centerX, labelTop + 22}, temperature.View(), 0xFFFFFF,
                           Align::Center);
}

void ThermalScreen::DrawReadings(Scene& scene) const {
    const UiState& state = scene.state;
    Canvas& canvas = scene.canvas;
    canvas.Fill({0, numbersTop, theme::width, diagnosticsTop - numbersTop}, theme::panel);
    scene.fonts.display.Draw(canvas, {18, readingsTop + 80},
                             Readout::Temperature(state.spot, state.fahrenheit).View(),
                             theme::text);
    scene.fonts.reading.Draw(canvas, {rightEdge, readingsTop + 80},
                             Readout::Temperature(state.environment, state.fahrenheit).View(),
                             theme::text, Align::Right);
}

void ThermalScreen::DrawDiagnostics(Scene& scene) const {
    constexpr int lineHeight = 18;
    Canvas& canvas = scene.canvas;
    canvas.Fill({0, diagnosticsTop, theme::width, identityTop - diagnosticsTop}, theme::background);
    std::string_view rest = scene.state.debug.View();
    for (int baseline = diagnosticsTop + 22; !rest.empty() && baseline < identityTop;
         baseline += lineHeight) {
        const std::string_view line = TakeLine(rest, scene.fonts.small, theme::width - 40.0F);
        scene.fonts.small.Draw(canvas, {20, static_cast<float>(baseline)}, line, theme::muted);
    }
}

void ThermalScreen::DrawIdentity(Scene& scene) const {
    Canvas& canvas = scene.canvas;
    canvas.Fill({0, identityTop, theme::width, theme::height - identityTop}, theme::panel);
    const float baseline = identityTop + 19;
    Font& font = scene.fonts.small;
    if (!scene.state.chip.View().empty()) {
        font.Draw(canvas, {20, baseline}, "Chip", theme::muted);
        font.Draw(canvas, {58, baseline}, scene.state.chip.View(), theme::text);
    }
    const std::string_view version = scene.state.version.View();
    font.Draw(canvas, {rightEdge, baseline}, version.substr(0, font.Fit(version, 240)),
              theme::muted, Align::Right);
}

} // namespace vantorelui
