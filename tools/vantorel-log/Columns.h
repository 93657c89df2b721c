#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace vantorel::logtool {

/** The columns of a line, in their order. */
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
    std::int64_t least = 0;
    std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
};

extern const std::array<ColumnFormat, columnCount> columns;

/** The log's first line. */
std::string HeadingLine();

/** One sample. Its text refers to the line that it was read from. */
struct Record {
    std::array<double, columnCount> values{}; ///< 0 for text
    std::string_view chip;

    /** False for a value that nothing had reported when the sample was taken. */
    bool IsKnown(std::size_t column) const;
};

/** Reads a line; returns what is wrong with it, nothing when it is a sample. */
std::string ParseLine(std::string_view line, Record& record);

/** Text of a file as a terminal may have it: short, control characters as dots. */
std::string Printable(std::string_view text);

} // namespace vantorel::logtool
