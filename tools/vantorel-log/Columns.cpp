// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "tools/vantorel-log/Columns.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace vantorel::logtool {
namespace {

constexpr double most32 = 4294967295;
constexpr double most64 = 18446744073709551615.0;
constexpr double mostSeconds = 10'000'000'000; // centuries

/** Decimals have one digit after the point; the device also writes "nan" and "inf". */
bool ParseNumber(std::string_view text, const ColumnFormat& format, double& value) {
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value, std::chars_format::fixed);
    if (result.ptr != end || result.ec != std::errc()) {
        return false;
    }
    if (format.kind == Kind::Decimal) {
        return !std::isfinite(value) || (text.size() > 2 && text[text.size() - 2] == '.');
    }
    return format.least <= value && value <= format.most &&
           text.find_first_of(format.least < 0 ? "." : ".-") == text.npos;
}

} // namespace

const std::array<ColumnFormat, columnCount> columns{{
    {"Session ID", Kind::Whole, most32},
    {"Uptime (s)", Kind::Whole, mostSeconds},
    {"Uptime (ns)", Kind::Whole, most64, 0, cameraUptimeColumn}, // 0 before the first frame
    {"ChipID", Kind::Text},
    {"FPA Frame Count", Kind::Whole, most32, 0, cameraUptimeColumn},
    {"FPA Error Count", Kind::Whole, most32},
    {"Framerate (fps)", Kind::Decimal, 0, 0, cameraUptimeColumn},
    {"FPA Tdiode (Counts)", Kind::Whole, most32, 0, cameraUptimeColumn},
    {"FPA Temp (degC)", Kind::Decimal, 0, 0, cameraUptimeColumn},
    {"FPA Spot Temp (degC)", Kind::Decimal, 0, 0, cameraUptimeColumn},
    {"CPU Temp (degC)", Kind::Decimal},
    {"Board Temp (degC)", Kind::Decimal},
    {"Battery Temp (degC)", Kind::Decimal, 0, 0, voltageColumn},
    {"Battery Voltage (V)", Kind::Decimal, 0, 0, voltageColumn}, // 0 before the first answer
    {"Battery Current (+/- mA)", Kind::Whole, 32767, -32768, voltageColumn},
    {"Battery Level (%%)", Kind::Whole, 255, 0, voltageColumn},
}};

std::string HeadingLine() {
    std::string text;
    for (const ColumnFormat& column : columns) {
        text += (text.empty() ? "" : ",") + std::string(column.name);
    }
    return text;
}

bool Record::IsKnown(std::size_t column) const {
    const Column reporter = columns[column].reporter;
    return std::isfinite(values[column]) && (reporter == columnCount || values[reporter] != 0);
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
        if (columns[column].kind == Kind::Text) {
            record.chip = text;
        } else if (!ParseNumber(text, columns[column], record.values[column])) {
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
