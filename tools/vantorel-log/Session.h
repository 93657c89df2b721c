// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "tools/vantorel-log/LogReader.h"

#include <cstdint>
#include <map>
#include <optional>

namespace vantorel::logtool {

/** One run of the device: lines with one session number and rising uptimes. */
class Session {
public:
    Session(std::size_t line, const Record& record);

    /** Whether the record continues this run. */
    bool Continues(const Record& record) const;
    void Add(std::size_t line, const Record& record);

    struct Gaps {
        std::uint64_t count = 0;
        std::uint64_t seconds = 0;
        std::uint64_t longest = 0;
        std::size_t line = 0; ///< the one after the longest gap
    };

    std::uint64_t Number() const { return number; }
    std::size_t FirstLine() const { return firstLine; }
    std::uint64_t Lines() const { return lines; }
    double Duration() const { return lastUptime - firstUptime; }
    /** The usual time between lines, in whole seconds. */
    std::optional<std::uint64_t> Interval() const;
    /** The number of intervals longer than the usual one, rounding to seconds considered. */
    Gaps FindGaps() const;

    struct Battery {
        double uptime;
        double level;
    };
    /** The first and the last reading of the fuel gauge. */
    const std::optional<Battery>& FirstBattery() const { return firstBattery; }
    const Battery& LastBattery() const { return lastBattery; }
    /** Percent per hour; nothing when the session is too short for levels in whole percent. */
    std::optional<double> DrainPerHour() const;

private:
    struct Steps {
        std::uint64_t count = 0;
        std::size_t firstLine = 0;
    };

    std::uint64_t number;
    std::size_t firstLine;
    std::uint64_t lines = 0;
    double firstUptime;
    double lastUptime;
    std::map<std::uint64_t, Steps> steps; // by their length
    std::optional<Battery> firstBattery;
    Battery lastBattery{};
};

} // namespace vantorel::logtool
