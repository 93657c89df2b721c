// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "Font.h"

#include "FontData.h"

#include <cmath>

#define STB_TRUETYPE_IMPLEMENTATION
#define STBTT_STATIC
#include <stb_truetype.h>

namespace vantorelui {

namespace {

constexpr std::size_t glyphCount = 256;
constexpr std::uint32_t replacement = '?';

/** Removes and returns the first character of UTF-8 text; a malformed byte counts as one. */
std::uint32_t TakeCodepoint(std::string_view& text) {
    const auto first = static_cast<std::uint8_t>(text.front());
    text.remove_prefix(1);
    if (first < 0x80) {
        return first;
    }
    std::uint32_t codepoint = first < 0xE0 ? first & 0x1FU : first < 0xF0 ? first & 0x0FU : 0x07U;
    const int following = first < 0xC0 ? 0 : first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
    for (int i = 0; i < following; ++i) {
        if (text.empty() || (static_cast<std::uint8_t>(text.front()) & 0xC0U) != 0x80U) {
            return replacement;
        }
        codepoint = codepoint << 6U | (static_cast<std::uint8_t>(text.front()) & 0x3FU);
        text.remove_prefix(1);
    }
    return following == 0 ? replacement : codepoint;
}

} // namespace

struct Font::Typeface {
    stbtt_fontinfo info{};
    float scale = 0;
};

Font::Font(const unsigned char* file, float size) : typeface(std::make_unique<Typeface>()) {
    stbtt_InitFont(&typeface->info, file, stbtt_GetFontOffsetForIndex(file, 0));
    typeface->scale = stbtt_ScaleForMappingEmToPixels(&typeface->info, size);
}

Font::~Font() = default;

const Font::Glyph& Font::At(std::uint32_t codepoint) {
    glyphs.resize(glyphCount);
    Glyph& glyph = glyphs[codepoint < glyphs.size() ? codepoint : replacement];
    if (!glyph.ready) {
        const stbtt_fontinfo& info = typeface->info;
        const float scale = typeface->scale;
        const int index = stbtt_FindGlyphIndex(&info, static_cast<int>(&glyph - glyphs.data()));
        int advance = 0;
        int bearing = 0;
        stbtt_GetGlyphHMetrics(&info, index, &advance, &bearing);
        glyph.advance = static_cast<float>(advance) * scale;
        int left = 0;
        int top = 0;
        int right = 0;
        int bottom = 0;
        stbtt_GetGlyphBitmapBox(&info, index, scale, scale, &left, &top, &right, &bottom);
        glyph.box = {left, top, right - left, bottom - top};
        glyph.coverage.resize(static_cast<std::size_t>(glyph.box.width) *
                              static_cast<std::size_t>(glyph.box.height));
        if (!glyph.coverage.empty()) {
            stbtt_MakeGlyphBitmap(&info, glyph.coverage.data(), glyph.box.width, glyph.box.height,
                                  glyph.box.width, scale, scale, index);
        }
        glyph.ready = true;
    }
    return glyph;
}

float Font::Width(std::string_view text, float spacing) {
    float width = text.empty() ? 0 : -spacing;
    while (!text.empty()) {
        width += At(TakeCodepoint(text)).advance + spacing;
    }
    return width;
}

std::size_t Font::Fit(std::string_view text, float width) {
    const std::size_t whole = text.size();
    std::size_t fitting = 0;
    float used = 0;
    while (!text.empty()) {
        used += At(TakeCodepoint(text)).advance;
        if (used > width && fitting > 0) {
            break;
        }
        fitting = whole - text.size();
    }
    return fitting;
}

void Font::Draw(Canvas& canvas, Point anchor, std::string_view text, Color color, Align align,
                float spacing) {
    float pen = anchor.x;
    if (align != Align::Left) {
        pen -= Width(text, spacing) * (align == Align::Center ? 0.5F : 1.0F);
    }
    const int baseline = static_cast<int>(std::lround(anchor.y));
    while (!text.empty()) {
        const Glyph& glyph = At(TakeCodepoint(text));
        const Rect area{static_cast<int>(std::lround(pen)) + glyph.box.x, baseline + glyph.box.y,
                        glyph.box.width, glyph.box.height};
        canvas.Stencil(area, glyph.coverage.data(), color);
        pen += glyph.advance + spacing;
    }
}

void Font::Prepare(std::string_view characters) {
    while (!characters.empty()) {
        At(TakeCodepoint(characters));
    }
}

Fonts::Fonts()
    : wordmark(vantoreluiFontBold, 58),
      display(vantoreluiFontBold, 56),
      reading(vantoreluiFontBold, 34),
      heading(vantoreluiFontBold, 30),
      value(vantoreluiFontBold, 20),
      label(vantoreluiFontBold, 13),
      body(vantoreluiFontRegular, 19),
      small(vantoreluiFontRegular, 14) {}

} // namespace vantorelui
