// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace vantorel::logtool {

/** The columns of a line, in order. */
enum Column : std::size_t {
    sessionColumn,
    uptimeColumn,
    cameraUptimeColumn,
    chipColumn,
    frameCountColumn,
    errorCountColumn,
    frameRateColumn,
    diodeColumn,
    sensorColumn,
    spotColumn,
    processorColumn,
    boardColumn,
    batteryTemperatureColumn,
    voltageColumn,
    currentColumn,
    levelColumn,
    columnCount
};

enum class Kind { Text, Whole, Decimal };

struct ColumnFormat {
    const char* name; ///< as in the heading
    Kind kind;
    double most = 0;  ///< of whole numbers
    double least = 0; ///< of whole numbers
    /** A column that is 0 as long as nothing has reported this one. */
    Column reporter = columnCount;
};

extern const std::array<ColumnFormat, columnCount> columns;

/** The log's first line. */
std::string HeadingLine();

/** One sample. Its text refers to the line from which it was read. */
struct Record {
    std::array<double, columnCount> values{}; ///< 0 for text
    std::string_view chip;

    /** False for a value that nothing had reported before the sample was taken. */
    bool IsKnown(std::size_t column) const;
};

/** Parses a line; returns the problem, or nothing when the line is a sample. */
std::string ParseLine(std::string_view line, Record& record);

/** Text from a file, safe for a terminal: shortened, control characters become dots. */
std::string Printable(std::string_view text);

} // namespace vantorel::logtool
