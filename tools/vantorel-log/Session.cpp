// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "tools/vantorel-log/Session.h"

#include <algorithm>

namespace vantorel::logtool {
namespace {

constexpr double secondsPerHour = 3600;
constexpr double leastForDrain = 600; // seconds

} // namespace

Session::Session(std::size_t line, const Record& record)
    : number(static_cast<std::uint64_t>(record.values[sessionColumn])),
      firstLine(line),
      firstUptime(record.values[uptimeColumn]),
      lastUptime(firstUptime) {}

bool Session::Continues(const Record& record) const {
    return static_cast<double>(number) == record.values[sessionColumn] &&
           record.values[uptimeColumn] >= lastUptime;
}

void Session::Add(std::size_t line, const Record& record) {
    const double uptime = record.values[uptimeColumn];
    if (lines > 0) {
        Steps& same = steps[static_cast<std::uint64_t>(uptime - lastUptime)];
        same.firstLine = same.count == 0 ? line : same.firstLine;
        ++same.count;
    }
    ++lines;
    lastUptime = uptime;
    if (record.IsKnown(levelColumn)) {
        lastBattery = {uptime, record.values[levelColumn]};
        if (!firstBattery) {
            firstBattery = lastBattery;
        }
    }
}

std::optional<std::uint64_t> Session::Interval() const {
    const auto usual =
        std::ranges::max_element(steps, {}, [](const auto& step) { return step.second.count; });
    return usual == steps.end() ? std::nullopt : std::optional(usual->first);
}

Session::Gaps Session::FindGaps() const {
    Gaps gaps;
    if (const auto usual = Interval()) {
        // An interval of 1.5 s is logged as steps of 1 and 2 s: one second more is not a gap.
        for (auto step = steps.upper_bound(*usual + 1); step != steps.end(); ++step) {
            gaps.count += step->second.count;
            gaps.seconds += (step->first - *usual) * step->second.count;
            gaps.longest = step->first;
            gaps.line = step->second.firstLine;
        }
    }
    return gaps;
}

std::optional<double> Session::DrainPerHour() const {
    if (!firstBattery || lastBattery.uptime - firstBattery->uptime < leastForDrain) {
        return std::nullopt;
    }
    return (firstBattery->level - lastBattery.level) * secondsPerHour /
           (lastBattery.uptime - firstBattery->uptime);
}

} // namespace vantorel::logtool
