// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "Canvas.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace vantorelui {

enum class Align { Left, Center, Right };

/**
 * One typeface in one size. A glyph is rasterised on first use and then cached, so drawing text
 * only copies stencils. Characters beyond Latin-1 appear as a question mark.
 */
class Font {
public:
    /** `file` is a TrueType file in memory that outlives the font; `size` is in pixels. */
    Font(const unsigned char* file, float size);
    ~Font();
    Font(const Font&) = delete;
    Font& operator=(const Font&) = delete;

    /** Draws UTF-8 text with its baseline at `anchor.y`; `spacing` widens every character. */
    void Draw(Canvas& canvas, Point anchor, std::string_view text, Color color,
              Align align = Align::Left, float spacing = 0);
    float Width(std::string_view text, float spacing = 0);
    /** Returns how many bytes of the text fit into a line; at least one character. */
    std::size_t Fit(std::string_view text, float width);
    /** Rasterises glyphs in advance, for text that changes while the live image is shown. */
    void Prepare(std::string_view characters);

private:
    struct Glyph {
        bool ready = false;
        float advance = 0;
        Rect box{}; ///< relative to the pen on the baseline
        std::vector<std::uint8_t> coverage;
    };
    struct Typeface;

    const Glyph& At(std::uint32_t codepoint);

    std::unique_ptr<Typeface> typeface;
    std::vector<Glyph> glyphs; ///< none until the first text: most screens need few fonts
};

/** Every font that the screens use. */
struct Fonts {
    Fonts();

    Font wordmark;
    Font display;
    Font reading;
    Font heading;
    Font value;
    Font label;
    Font body;
    Font small;
};

} // namespace vantorelui
