// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <locale>
#include <sstream>
#include <string>

namespace vantorel {

/** Writes one whole line to standard output and flushes it; thread-safe, lines never interleave. */
void WriteStatusLine(const std::string& text);

/** Joins parts into a text, with numbers independent of the application's locale. */
template <typename... Parts>
std::string Compose(const Parts&... parts) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    (text << ... << parts);
    return text.str();
}

/**
 * Writes a status line composed of parts, for instance PrintStatus("USB CONNECTION STATE: ",
 * state). The caller must widen a character-sized integer, or it prints as a character.
 */
template <typename... Parts>
void PrintStatus(const Parts&... parts) {
    WriteStatusLine(Compose(parts...));
}

} // namespace vantorel
