// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <array>
#include <cstddef>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

namespace vantorel::logtool {

/**
 * Reads a file of any size line by line with a fixed amount of memory. A line longer than the
 * device can write is reported without its text.
 *
 * Not with a CSV library: to one, a quote at the beginning of a field that a power cut has damaged
 * begins a text that swallows the next lines, and a last line without an end is a line as any
 * other.
 */
class LineReader {
public:
    /** Longer than any line of the log: the chip ID alone may have 2018 characters. */
    static constexpr std::size_t longestLine = 4096;

    struct Line {
        std::string_view text; ///< without its end; valid until the next line is read
        std::size_t number = 0;
        bool complete = true; ///< false when the file ends before the line does
        bool tooLong = false; ///< then the text is empty
        bool zeros = false;   ///< a line with zero bytes
    };

    /** @throws std::system_error when the file cannot be opened */
    explicit LineReader(const std::string& path);

    /** Returns the next line, or nothing at the end. @throws std::system_error when reading fails
     */
    std::optional<Line> Next();

private:
    std::ifstream file;
    std::array<char, longestLine + 1> buffer{};
    std::size_t lineNumber = 0;
};

} // namespace vantorel::logtool
