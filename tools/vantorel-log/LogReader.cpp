// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "tools/vantorel-log/LogReader.h"

#include <algorithm>

namespace vantorel::logtool {
namespace {

/**
 * Returns whether a line with too many columns is a torn line joined with the first line of the
 * next session: the device appends without checking the last line.
 */
bool IsJoined(std::string_view line) {
    const auto commas = static_cast<std::size_t>(std::ranges::count(line, ','));
    if (commas < columnCount || commas > 2 * (columnCount - 1)) {
        return false;
    }
    std::size_t begin = 0;
    for (std::size_t skipped = commas - (columnCount - 1); skipped > 0; --skipped) {
        begin = line.find(',', begin) + 1;
    }
    // The column where the two lines meet holds parts of both.
    Record record;
    const std::size_t rest = line.find(',', begin);
    return ParseLine("0" + std::string(line.substr(rest)), record).empty();
}

class LogParser {
public:
    explicit LogParser(LogReceiver& told) : receiver(told) {}

    /** False when the rest cannot be interpreted. */
    bool Take(const LineReader::Line& line) {
        if (line.text == heading) {
            if (line.number != 1) {
                Report(line, Problem::Heading, "the heading is repeated");
            }
            return true;
        }
        const std::string wrong =
            line.tooLong ? "longer than any line of the log" : ParseLine(line.text, record);
        if (line.number == 1 && !wrong.empty()) {
            Report(line, Problem::Heading,
                   line.tooLong
                       ? "a long line instead of the heading of a device's log"
                       : "not the heading of a device's log: '" + Printable(line.text) + "'");
            return false;
        }
        if (line.number == 1) {
            Report(line, Problem::Heading, "the heading is missing");
        }
        if (!line.complete) {
            Report(line, Problem::Torn, "the last line is torn, as a power cut leaves it");
        } else if (!wrong.empty()) {
            ReportDamage(line, wrong);
        } else {
            TakeRecord(line);
        }
        return true;
    }

private:
    void Report(const LineReader::Line& line, Problem::Kind kind, const std::string& text) {
        receiver.OnProblem({line.number, kind, text});
    }

    void ReportDamage(const LineReader::Line& line, const std::string& wrong) {
        if (line.zeros) {
            Report(line, Problem::Torn, "holds zero bytes, as a power cut leaves them");
        } else if (IsJoined(line.text)) {
            Report(line, Problem::Torn,
                   "torn by a power cut, with the first line of the next session joined to it");
        } else {
            Report(line, Problem::Malformed, wrong);
        }
    }

    void TakeRecord(const LineReader::Line& line) {
        const double session = record.values[sessionColumn];
        const double uptime = record.values[uptimeColumn];
        if (session < lastSession) {
            Report(line, Problem::Order, After("session", session, lastSession));
        } else if (session == lastSession && uptime < lastUptime) {
            Report(line, Problem::Order, After("uptime", uptime, lastUptime) + " in one session");
        }
        lastSession = session;
        lastUptime = uptime;
        receiver.OnRecord(line.number, record);
    }

    static std::string After(const char* what, double value, double last) {
        return std::string(what) + ' ' + std::to_string(static_cast<std::int64_t>(value)) +
               " after " + std::to_string(static_cast<std::int64_t>(last));
    }

    LogReceiver& receiver;
    const std::string heading = HeadingLine();
    Record record;
    double lastSession = 0;
    double lastUptime = 0;
};

} // namespace

std::size_t ReadLog(const std::string& path, LogReceiver& receiver) {
    LineReader lines(path);
    LogParser parser(receiver);
    std::size_t count = 0;
    while (const auto line = lines.Next()) {
        count = line->number;
        if (!parser.Take(*line)) {
            return count;
        }
    }
    if (count == 0) {
        receiver.OnProblem({1, Problem::Heading, "the file is empty"});
    }
    return count;
}

} // namespace vantorel::logtool
