// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "ControlCommand.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace kirosim {

namespace {

constexpr std::string_view blanks = " \t\r";

/** Removes the first word of a line and returns it. */
std::string_view TakeWord(std::string_view& line) {
    const std::size_t begin = line.find_first_not_of(blanks);
    if (begin == std::string_view::npos) {
        return line = {};
    }
    const std::size_t end = std::min(line.find_first_of(blanks, begin), line.size());
    const std::string_view word = line.substr(begin, end - begin);
    line.remove_prefix(end);
    return word;
}

/** The rest of a line without the blanks around it: a path may contain some. */
std::string_view Trim(std::string_view line) {
    line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    return line.substr(0, line.find_last_not_of(blanks) + 1);
}

} // namespace

std::optional<std::int32_t> ParseNumber(std::string_view text, std::int32_t low,
                                        std::int32_t high) {
    std::int32_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || value < low || value > high) {
        return std::nullopt;
    }
    return value;
}

std::optional<ControlCommand> ControlCommand::Parse(std::string_view line) {
    const std::string_view name = TakeWord(line);
    if (name == "play") {
        return ControlCommand{Kind::Play, 0, std::string(Trim(line))};
    }
    if (name == "record") {
        return ControlCommand{Kind::Record, 0, std::string(Trim(line))};
    }
    const std::string_view argument = TakeWord(line);
    if (!TakeWord(line).empty()) {
        return std::nullopt;
    }
    if (argument.empty()) {
        if (name == "connect") {
            return ControlCommand{Kind::Connect, 0};
        }
        if (name == "disconnect") {
            return ControlCommand{Kind::Disconnect, 0};
        }
        return std::nullopt;
    }
    using Limits = std::numeric_limits<std::int32_t>;
    if (name == "error") {
        if (const auto code = ParseNumber(argument, Limits::min(), Limits::max())) {
            return ControlCommand{Kind::Error, *code};
        }
    }
    if (name == "rate") {
        if (const auto rate = ParseNumber(argument, 0, maxRate)) {
            return ControlCommand{Kind::Rate, *rate};
        }
    }
    if (name == "hang") {
        if (const auto hangs = ParseNumber(argument, 0, 1)) {
            return ControlCommand{Kind::Hang, *hangs};
        }
    }
    return std::nullopt;
}

} // namespace kirosim
