// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel::logtool {

/**
 * Reads a file of any size line by line with a fixed amount of memory. A line longer than the
 * device can write is reported without its text.
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
        bool zeros = false;   ///< a long line with zero bytes
    };

    /** @throws std::system_error when the file cannot be opened */
    explicit LineReader(const std::string& path);

    /** Returns the next line, or nothing at the end. @throws std::system_error when reading fails
     */
    std::optional<Line> Next();

private:
    struct Close {
        void operator()(std::FILE* opened) const { std::fclose(opened); }
    };

    bool Fill();
    void Drop(Line& line, std::size_t length) const;
    Line Take(Line line, std::size_t length);

    std::unique_ptr<std::FILE, Close> file;
    std::vector<char> buffer;
    std::size_t begin = 0;
    std::size_t end = 0;
    std::size_t lineNumber = 0;
};

} // namespace vantorel::logtool
