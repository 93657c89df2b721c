#pragma once

#include <locale>
#include <sstream>
#include <string>

namespace vantorel {

/** Writes one whole line to standard output and flushes it; thread-safe, lines never interleave. */
void WriteStatusLine(const std::string& text);

/**
 * Composes a status line of its parts, for instance PrintStatus("USB CONNECTION STATE: ", state).
 * A character-sized integer must be widened by the caller, or it prints as a character.
 */
template <typename... Parts>
void PrintStatus(const Parts&... parts) {
    std::ostringstream line;
    line.imbue(std::locale::classic()); // whatever the application's numbers look like
    (line << ... << parts);
    WriteStatusLine(line.str());
}

} // namespace vantorel
