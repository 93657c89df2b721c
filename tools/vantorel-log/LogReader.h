// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "tools/vantorel-log/Columns.h"

#include <string>

namespace vantorel::logtool {

/** A deviation of a log from the format that the device writes. */
struct Problem {
    enum Kind {
        Heading,   ///< missing, repeated or another one
        Malformed, ///< a line that is not a sample
        Torn,      ///< a line of which a power cut has left a part
        Order,     ///< sessions or times that go back
        kindCount
    };
    std::size_t line;
    Kind kind;
    std::string text;
};

/** Receives the contents of a log, in the order of its lines. */
class LogReceiver {
public:
    virtual ~LogReceiver() = default;
    virtual void OnRecord(std::size_t line, const Record& record) = 0;
    virtual void OnProblem(const Problem& problem) = 0;
};

/**
 * Reads a log of any size with a fixed amount of memory. Continues after every problem except a
 * heading with other columns, since the lines after it cannot be interpreted.
 * @return the number of lines
 * @throws std::system_error when the file cannot be read
 */
std::size_t ReadLog(const std::string& path, LogReceiver& receiver);

} // namespace vantorel::logtool
