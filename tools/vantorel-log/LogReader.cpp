// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "tools/vantorel-log/LogReader.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <limits>
#include <system_error>

namespace vantorel::logtool {
namespace {

/** Longer than any line of the log: the chip ID alone may have 2018 characters. */
constexpr std::size_t longestLine = 4096;

struct Line {
    std::size_t number;
    std::string_view text; ///< without its end
    bool complete;         ///< false when the file ends before the line does
    bool tooLong;          ///< then the text is the beginning
};

/**
 * Returns whether a line with too many columns is a torn line joined with the first line of the
 * next session: the device appends without checking the last line.
 */
bool IsJoined(std::string_view line) {
    const auto commas = static_cast<std::size_t>(std::ranges::count(line, ','));
    if (commas < columnCount || commas > 2 * (columnCount - 1)) {
        return false;
    }
    std::size_t rest = line.size();
    for (std::size_t column = 1; column < columnCount; ++column) {
        rest = line.rfind(',', rest - 1);
    }
    // The column where the two lines meet holds parts of both.
    Record record;
    return ParseLine("0" + std::string(line.substr(rest)), record).empty();
}

/**
 * Returns whether a first line is what a power cut leaves of the heading: a part of it and zero
 * bytes, perhaps joined with the first line of the next session.
 */
bool IsTornHeading(std::string_view line, std::string_view heading) {
    const auto kept = std::ranges::mismatch(line, heading).in1 - line.begin();
    const std::size_t rest = line.find_first_not_of('\0', static_cast<std::size_t>(kept));
    if (rest == line.npos) {
        return !line.empty();
    }
    Record record;
    const std::string_view joined = line.substr(rest);
    return rest > 0 && (ParseLine(joined, record).empty() || IsJoined(joined));
}

class LogParser {
public:
    explicit LogParser(LogReceiver& target) : receiver(target) {}

    /** False when the rest cannot be interpreted. */
    bool Take(const Line& line) {
        if (line.text == heading) {
            if (line.number != 1) {
                Report(line, Problem::Heading, "the heading is repeated");
            }
            return true;
        }
        const std::string wrong =
            line.tooLong ? "longer than any line of the log" : ParseLine(line.text, record);
        if (line.number == 1 && IsTornHeading(line.text, heading)) {
            Report(line, Problem::Torn, "the heading is torn by a power cut");
            return true;
        }
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
    void Report(const Line& line, Problem::Kind kind, const std::string& text) {
        receiver.OnProblem({line.number, kind, text});
    }

    void ReportDamage(const Line& line, const std::string& wrong) {
        if (line.text.find('\0') != line.text.npos) {
            Report(line, Problem::Torn, "holds zero bytes, as a power cut leaves them");
        } else if (!line.tooLong && IsJoined(line.text)) {
            Report(line, Problem::Torn,
                   "torn by a power cut, with the first line of the next session joined to it");
        } else {
            Report(line, Problem::Malformed, wrong);
        }
    }

    void TakeRecord(const Line& line) {
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

// A CSV library is unsuitable: it treats a damaged leading quote as the start of a multi-line field
// and cannot report an unterminated last line.
std::size_t ReadLog(const std::string& path, LogReceiver& receiver) {
    std::ifstream file(path);
    if (!file) {
        throw std::system_error(errno, std::generic_category(), "cannot open " + path);
    }
    file.exceptions(std::ios::badbit);
    LogParser parser(receiver);
    std::array<char, longestLine + 1> buffer{};
    std::size_t count = 0;
    while (file.getline(buffer.data(), std::ssize(buffer)) || file.gcount() > 0) {
        const auto length = static_cast<std::size_t>(file.gcount());
        const bool tooLong = !file;
        if (tooLong) {
            file.clear();
            file.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
        }
        const bool complete = !file.eof();
        std::string_view text(buffer.data(), complete && !tooLong ? length - 1 : length);
        if (complete && text.ends_with('\r')) { // edited on a PC
            text.remove_suffix(1);
        }
        if (!parser.Take({++count, text, complete, tooLong})) {
            return count;
        }
    }
    if (count == 0) {
        receiver.OnProblem({1, Problem::Heading, "the file is empty"});
    }
    return count;
}

} // namespace vantorel::logtool
