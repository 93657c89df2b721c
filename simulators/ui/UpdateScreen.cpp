// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "UpdateScreen.h"

#include "Symbols.h"
#include "Theme.h"

#include <array>

namespace vantorelui {

namespace {

constexpr Point emblem{theme::middle, 216};
constexpr Rect bar{60, 446, 360, 18};

struct Words {
    const char* heading;
    const char* first;
    const char* second;
    Color color;
};

Words WordsFor(UpdatePhase phase) {
    switch (phase) {
    case UpdatePhase::Uploading:
        return {"Updating firmware", "Keep the cable connected until", "the update is complete.",
                theme::accent};
    case UpdatePhase::Succeeded:
        return {"Update complete", "The new firmware is installed.", "", theme::good};
    case UpdatePhase::Failed:
        return {"Update failed", "Check the update file", "and copy it again.", theme::bad};
    case UpdatePhase::Waiting:
        break;
    }
    return {"Connected to computer", "Copy an update file to the", "VANTOREL drive to update.",
            theme::muted};
}

void DrawMark(Canvas& canvas, UpdatePhase phase, Color color) {
    const auto line = [&](float x1, float y1, float x2, float y2) {
        canvas.Line({emblem.x + x1, emblem.y + y1}, {emblem.x + x2, emblem.y + y2}, 9, color);
    };
    if (phase == UpdatePhase::Succeeded) {
        line(-26, 2, -8, 22);
        line(-8, 22, 28, -20);
    } else if (phase == UpdatePhase::Failed) {
        line(-22, -22, 22, 22);
        line(-22, 22, 22, -22);
    } else {
        line(0, -32, 0, 12);
        line(-18, -4, 0, 14);
        line(18, -4, 0, 14);
        line(-26, 32, 26, 32);
    }
}

} // namespace

void UpdateScreen::Enter(Scene& scene) {
    scene.canvas.Fill({0, 0, theme::width, theme::height}, theme::background);
    scene.fonts.label.Draw(scene.canvas, {theme::middle, 84}, "FIRMWARE UPDATE", theme::muted,
                           Align::Center, 4);
    scene.fonts.heading.Prepare("0123456789 %");
    phase.Forget();
    footer.Forget();
}

void UpdateScreen::Refresh(Scene& scene) {
    const UpdatePhase current = scene.state.updatePhase;
    if (phase.Changes(current)) {
        DrawPhase(scene);
        dots.Forget();
        progress.Forget();
    }
    const int dot = static_cast<int>(scene.milliseconds / 400 % 3);
    if (current == UpdatePhase::Waiting && dots.Changes(dot)) {
        scene.canvas.Fill(bar, theme::background);
        for (int i = 0; i < 3; ++i) {
            scene.canvas.Disc({theme::middle + static_cast<float>(24 * (i - 1)), 455}, 5,
                              i == dot ? theme::accent : theme::rule);
        }
    }
    if (current == UpdatePhase::Uploading && progress.Changes(scene.state.updateProgress)) {
        const std::uint8_t percent = scene.state.updateProgress;
        scene.canvas.Fill(bar, theme::background);
        scene.canvas.RoundedRect(bar, 9, theme::rule);
        if (percent > 0) {
            const int length = bar.height + (bar.width - bar.height) * percent / 100;
            scene.canvas.RoundedRect({bar.x, bar.y, length, bar.height}, 9, theme::accent);
        }
        scene.canvas.Fill({0, 480, theme::width, 50}, theme::background);
        scene.fonts.heading.Draw(scene.canvas, {theme::middle, 512},
                                 Readout::Percent(percent).View(), theme::text, Align::Center);
    }
    footer.Refresh(scene);
}

void UpdateScreen::DrawPhase(Scene& scene) const {
    Canvas& canvas = scene.canvas;
    const Words words = WordsFor(scene.state.updatePhase);
    canvas.Fill({0, 120, theme::width, 450}, theme::background);
    canvas.Ring(emblem, 70, 6, words.color);
    DrawMark(canvas, scene.state.updatePhase, words.color);
    scene.fonts.heading.Draw(canvas, {theme::middle, 346}, words.heading, theme::text,
                             Align::Center);
    scene.fonts.body.Draw(canvas, {theme::middle, 384}, words.first, theme::muted, Align::Center);
    scene.fonts.body.Draw(canvas, {theme::middle, 410}, words.second, theme::muted, Align::Center);
}

} // namespace vantorelui
