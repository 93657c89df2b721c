// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kirosim {

/** A command to the simulator from outside of the application. */
struct ControlCommand {
    enum class Kind {
        Connect,
        Disconnect,
        Error,   /**< value: the code to report */
        Rate,    /**< value: frames per second, 0 stops them */
        Hang,    /**< value: whether starts and stops of a session wait until it is 0 again */
        Play,    /**< path: the recording to play; empty: the scene again */
        Record,  /**< path: the recording to make; empty: ends it */
        Announce /**< report cameras that the event callback has not heard of; has no text */
    };
    Kind kind = Kind::Announce;
    std::int32_t value = 0;
    std::string path = {};

    static constexpr std::int32_t maxRate = 240;

    /**
     * Reads `connect`, `disconnect`, `error CODE`, `rate HZ`, `hang 0|1`, `play [PATH]` or
     * `record [PATH]`; nothing when it is none of them.
     */
    static std::optional<ControlCommand> Parse(std::string_view line);
};

/** Reads a decimal number that fills the text and lies within the bounds. */
std::optional<std::int32_t> ParseNumber(std::string_view text, std::int32_t low, std::int32_t high);

} // namespace kirosim
