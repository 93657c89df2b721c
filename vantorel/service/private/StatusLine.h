// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <locale>
#include <sstream>
#include <string>
#include <string_view>

namespace vantorel {

/** Writes one whole line to standard output and flushes it; thread-safe, lines never interleave. */
void WriteStatusLine(const std::string& text);

namespace statusline {

/** Gives literals of all lengths one type, so that the templates below need one instance. */
inline std::string_view Part(const char* literal) {
    return literal;
}
template <typename T>
const T& Part(const T& part) {
    return part;
}

template <typename... Parts>
std::string Join(const Parts&... parts) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    (text << ... << parts);
    return text.str();
}

template <typename... Parts>
void Print(const Parts&... parts) {
    WriteStatusLine(Join(parts...));
}

} // namespace statusline

/** Joins parts into a text, with numbers independent of the application's locale. */
template <typename... Parts>
std::string Compose(const Parts&... parts) {
    return statusline::Join(statusline::Part(parts)...);
}

/**
 * Writes a status line composed of parts, for instance PrintStatus("USB CONNECTION STATE: ",
 * state). The caller must widen a character-sized integer, or it prints as a character.
 */
template <typename... Parts>
void PrintStatus(const Parts&... parts) {
    statusline::Print(statusline::Part(parts)...);
}

} // namespace vantorel
