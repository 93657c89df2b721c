#pragma once

#include <locale>
#include <sstream>
#include <string>

namespace vantorel {

/** Writes one whole line to standard output and flushes it; thread-safe, lines never interleave. */
void WriteStatusLine(const std::string& text);

/** A text of parts, whatever the application's numbers look like. */
template <typename... Parts>
std::string Compose(const Parts&... parts) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    (text << ... << parts);
    return text.str();
}

/**
 * Composes a status line of its parts, for instance PrintStatus("USB CONNECTION STATE: ", state).
 * A character-sized integer must be widened by the caller, or it prints as a character.
 */
template <typename... Parts>
void PrintStatus(const Parts&... parts) {
    WriteStatusLine(Compose(parts...));
}

} // namespace vantorel
