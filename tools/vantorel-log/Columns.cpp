// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "tools/vantorel-log/Columns.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

namespace vantorel::logtool {
namespace {

constexpr std::uint64_t most32 = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t mostSeconds = 10'000'000'000; // centuries

template <typename Number>
bool ParseWhole(std::string_view text, const ColumnFormat& format, double& value) {
    Number number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    value = static_cast<double>(number);
    return error == std::errc() && end == text.data() + text.size() &&
           std::cmp_less_equal(format.least, number) && std::cmp_less_equal(number, format.most);
}

/** One digit after the point; the device also writes "nan" and "inf". */
bool ParseDecimal(std::string_view text, double& value) {
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value, std::chars_format::fixed);
    const bool isWhole = result.ptr == end && result.ec == std::errc();
    return isWhole && (!std::isfinite(value) || (text.size() > 2 && text[text.size() - 2] == '.'));
}

bool ParseField(std::string_view text, std::size_t column, Record& record) {
    double& value = record.values[column];
    switch (columns[column].kind) {
    case Kind::Text:
        record.chip = text;
        return true;
    case Kind::Whole:
        return columns[column].least < 0 ? ParseWhole<std::int64_t>(text, columns[column], value)
                                         : ParseWhole<std::uint64_t>(text, columns[column], value);
    case Kind::Decimal:
        return ParseDecimal(text, value);
    }
    return false;
}

} // namespace

const std::array<ColumnFormat, columnCount> columns{{
    {"Session ID", Kind::Whole, 0, most32},
    {"Uptime (s)", Kind::Whole, 0, mostSeconds},
    {"Uptime (ns)", Kind::Whole},
    {"ChipID", Kind::Text},
    {"FPA Frame Count", Kind::Whole, 0, most32},
    {"FPA Error Count", Kind::Whole, 0, most32},
    {"Framerate (fps)", Kind::Decimal},
    {"FPA Tdiode (Counts)", Kind::Whole, 0, most32},
    {"FPA Temp (degC)", Kind::Decimal},
    {"FPA Spot Temp (degC)", Kind::Decimal},
    {"CPU Temp (degC)", Kind::Decimal},
    {"Board Temp (degC)", Kind::Decimal},
    {"Battery Temp (degC)", Kind::Decimal},
    {"Battery Voltage (V)", Kind::Decimal},
    {"Battery Current (+/- mA)", Kind::Whole, -32768, 32767},
    {"Battery Level (%%)", Kind::Whole, 0, 255},
}};

std::string HeadingLine() {
    std::string text;
    for (const ColumnFormat& column : columns) {
        text += (text.empty() ? "" : ",") + std::string(column.name);
    }
    return text;
}

bool Record::IsKnown(std::size_t column) const {
    if (!std::isfinite(values[column])) {
        return false;
    }
    switch (column) {
    case cameraUptimeColumn:
    case frameCountColumn:
    case frameRateColumn:
    case diodeColumn:
    case sensorColumn:
    case spotColumn:
        return values[cameraUptimeColumn] != 0; // before the first frame all of them are 0
    case batteryTemperatureColumn:
    case voltageColumn:
    case currentColumn:
    case levelColumn:
        return values[voltageColumn] != 0; // before the gauge's first answer
    default:
        return true;
    }
}

std::string ParseLine(std::string_view line, Record& record) {
    std::size_t begin = 0;
    for (std::size_t column = 0; column < columnCount; ++column) {
        const std::size_t end = std::min(line.find(',', begin), line.size());
        const bool last = column + 1 == columnCount;
        if ((end == line.size()) != last) {
            const auto commas = std::ranges::count(line, ',');
            return "has " + std::to_string(commas + 1) + " columns instead of 16";
        }
        const std::string_view text = line.substr(begin, end - begin);
        if (!ParseField(text, column, record)) {
            return "column " + std::to_string(column + 1) + " (" + columns[column].name + "): '" +
                   Printable(text) + "' is not a valid value";
        }
        begin = end + 1;
    }
    return {};
}

std::string Printable(std::string_view text) {
    constexpr std::size_t longest = 60;
    std::string result(text.substr(0, longest));
    std::ranges::replace_if(
        result, [](unsigned char c) { return c < 0x20 || c >= 0x7f; }, '.');
    return text.size() > longest ? result + "..." : result;
}

} // namespace vantorel::logtool
