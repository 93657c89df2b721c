// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "tools/vantorel-log/Summary.h"

#include "tools/vantorel-log/Format.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <limits>

namespace vantorel::logtool {
namespace {

using nlohmann::ordered_json;

constexpr std::size_t mostChips = 100; // a log of one device has one

std::string Duration(double seconds) {
    const auto whole = static_cast<std::int64_t>(seconds);
    return Format("%" PRId64 "d %02d:%02d:%02d", whole / 86400, static_cast<int>(whole / 3600 % 24),
                  static_cast<int>(whole / 60 % 60), static_cast<int>(whole % 60));
}

/** Formats a value as its column is written: whole numbers without a point. */
ordered_json Number(std::size_t column, double value) {
    if (columns[column].kind != Kind::Whole) {
        return value;
    }
    if (value < 0) {
        return std::llround(value);
    }
    constexpr double tooLarge = 18446744073709551616.0; // the largest 64-bit number, rounded
    return value < tooLarge ? static_cast<std::uint64_t>(value)
                            : std::numeric_limits<std::uint64_t>::max();
}

template <typename Value>
ordered_json OrNull(const std::optional<Value>& value) {
    return value ? ordered_json(*value) : ordered_json();
}

ordered_json ToJson(const Session& session) {
    const Session::Gaps gaps = session.FindGaps();
    ordered_json json = {{"session", session.Number()},
                         {"firstLine", session.FirstLine()},
                         {"lines", session.Lines()},
                         {"durationSeconds", session.Duration()},
                         {"intervalSeconds", OrNull(session.Interval())},
                         {"gaps",
                          {{"count", gaps.count},
                           {"missingSeconds", gaps.seconds},
                           {"longestSeconds", gaps.longest},
                           {"line", gaps.line}}},
                         {"battery", nullptr}};
    if (const auto& first = session.FirstBattery()) {
        json["battery"] = {{"first", first->level},
                           {"last", session.LastBattery().level},
                           {"drainPerHour", OrNull(session.DrainPerHour())}};
    }
    return json;
}

} // namespace

void Summary::Range::Add(double value) {
    least = count == 0 ? value : std::min(least, value);
    most = count == 0 ? value : std::max(most, value);
    sum += value;
    ++count;
}

void Summary::OnRecord(std::size_t line, const Record& record) {
    if (sessions.empty() || !sessions.back().Continues(record)) {
        sessions.emplace_back(line, record);
    }
    sessions.back().Add(line, record);
    ++records;
    for (std::size_t column = 0; column < columnCount; ++column) {
        if (columns[column].kind != Kind::Text && record.IsKnown(column)) {
            ranges[column].Add(record.values[column]);
        }
    }
    if (!record.chip.empty() && chips.size() < mostChips && !chips.contains(record.chip)) {
        chips.emplace(record.chip);
    }
}

void Summary::OnProblem(const Problem& problem) {
    ++problems[problem.kind];
    if (!firstProblem) {
        firstProblem = problem;
    }
}

void Summary::Print(std::ostream& out) const {
    double total = 0;
    for (const Session& session : sessions) {
        total += session.Duration();
    }
    out << "samples:  " << records << " in " << sessions.size() << " sessions, " << Duration(total)
        << '\n';
    for (const std::string& chip : chips) {
        out << "chip:     " << Printable(chip) << '\n';
    }
    out << "unusable: " << problems[Problem::Malformed] << " malformed lines, "
        << problems[Problem::Torn] << " torn\n";
    if (firstProblem) {
        out << "first problem, in line " << firstProblem->line << ": " << firstProblem->text
            << "; \"check\" lists all\n";
    }
    if (records > 0) {
        PrintSessions(out);
        PrintColumns(out);
    }
}

void Summary::PrintSessions(std::ostream& out) const {
    out << "\n session  from line   samples      duration  interval  gaps  battery        "
           "drain/h\n";
    for (const Session& session : sessions) {
        out << Format("%8" PRIu64 "  %9zu  %8" PRIu64 "  %12s", session.Number(),
                      session.FirstLine(), session.Lines(), Duration(session.Duration()).c_str());
        const auto interval = session.Interval();
        out << (interval ? Format("  %6" PRIu64 " s", *interval) : "         -");
        out << Format("  %4" PRIu64, session.FindGaps().count);
        if (const auto& first = session.FirstBattery()) {
            out << Format("  %3.0f %% -> %3.0f %%", first->level, session.LastBattery().level);
        } else {
            out << "  -             ";
        }
        const auto drain = session.DrainPerHour();
        out << (drain ? Format("  %5.1f %%", *drain) : "        -") << '\n';
    }
    for (const Session& session : sessions) {
        if (const Session::Gaps gaps = session.FindGaps(); gaps.count > 0) {
            out << Format("session %" PRIu64 ": %" PRIu64 " gaps, %" PRIu64 " s missing, the "
                          "longest %" PRIu64 " s, before line %zu\n",
                          session.Number(), gaps.count, gaps.seconds, gaps.longest, gaps.line);
        }
    }
}

void Summary::PrintColumns(std::ostream& out) const {
    out << "\ncolumn                             least              mean              most\n";
    for (std::size_t column = uptimeColumn; column < columnCount; ++column) {
        const char* const name = columns[column].name;
        const Kind kind = columns[column].kind;
        if (kind == Kind::Text) {
            continue;
        }
        const Range& range = ranges[column];
        const char* const name16 = column == levelColumn ? "Battery Level (%)" : name;
        if (range.count == 0) {
            out << Format("%-24s                 -                 -                 -\n", name16);
            continue;
        }
        const char* const form = kind == Kind::Whole ? "%-24s  %16.0f  %16.1f  %16.0f\n"
                                                     : "%-24s  %16.1f  %16.1f  %16.1f\n";
        char text[1200]; // a double has up to 309 digits
        std::snprintf(text, sizeof text, form, name16, range.least, range.Mean(), range.most);
        out << text;
    }
}

ordered_json Summary::ToJson() const {
    ordered_json json = {{"samples", records},
                         {"chips", chips},
                         {"problems",
                          {{"malformed", problems[Problem::Malformed]},
                           {"torn", problems[Problem::Torn]},
                           {"order", problems[Problem::Order]},
                           {"heading", problems[Problem::Heading]}}},
                         {"sessions", ordered_json::array()},
                         {"columns", ordered_json::object()}};
    for (const Session& session : sessions) {
        json["sessions"].push_back(logtool::ToJson(session));
    }
    for (std::size_t column = uptimeColumn; column < columnCount; ++column) {
        const Range& range = ranges[column];
        if (columns[column].kind != Kind::Text && range.count > 0) {
            json["columns"][columns[column].name] = {{"least", Number(column, range.least)},
                                                     {"mean", range.Mean()},
                                                     {"most", Number(column, range.most)}};
        }
    }
    return json;
}

} // namespace vantorel::logtool
