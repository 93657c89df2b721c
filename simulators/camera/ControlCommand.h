// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kirosim {

/** A command to the simulator from outside the application. */
struct ControlCommand {
    enum class Kind {
        Connect,
        Disconnect,
        Error,   /**< value: the code to report */
        Rate,    /**< value: frames per second, 0 stops them */
        Hang,    /**< value: 1 blocks calls that start or stop a session, until it is 0 again */
        Play,    /**< path: the recording to play; empty: return to the scene */
        Record,  /**< path: the recording to write; empty: stop recording */
        Announce /**< report cameras that the event callback does not know yet; has no text form */
    };
    Kind kind = Kind::Announce;
    std::int32_t value = 0;
    std::string path = {};

    static constexpr std::int32_t maxRate = 240;

    /**
     * Parses `connect`, `disconnect`, `error CODE`, `rate HZ`, `hang 0|1`, `play [PATH]` or
     * `record [PATH]`; returns nothing for any other line.
     */
    static std::optional<ControlCommand> Parse(std::string_view line);
};

/** Parses a text that consists of one decimal number within the bounds. */
std::optional<std::int32_t> ParseNumber(std::string_view text, std::int32_t low, std::int32_t high);

} // namespace kirosim
