// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <variant>
#include <vector>

namespace vantorel::host {

/** Exit statuses; documented in the manual page. */
enum ExitCode {
    exitSuccess = 0,
    exitRefused = 1,  ///< the device refused, answered what cannot be, or failed a check
    exitUsage = 2,    ///< wrong arguments
    exitNoDevice = 3, ///< no device, or several and none chosen
    exitAccess = 4,   ///< no permission, or in use by another program
    exitBus = 5,      ///< the device vanished, did not answer, or the bus failed
    exitOutput = 6,   ///< the result could not be written, or no memory is left
};

/** The command line, checked. */
struct Arguments {
    struct Address {
        unsigned bus = 0;
        unsigned address = 0;
    };

    std::string command; ///< for instance "list" or "factory read"
    bool json = false;
    std::uint16_t vendor = 0;
    std::optional<Address> device;
    unsigned timeoutMs = 0;

    std::string outFile;                           ///< factory read, raw
    bool follow = false;                           ///< klog
    unsigned request = 0;                          ///< raw
    unsigned length = 0;                           ///< raw
    unsigned value = 0;                            ///< raw
    unsigned index = 0;                            ///< raw
    std::optional<std::vector<std::uint8_t>> data; ///< raw; absent: the device sends
    std::uint64_t seed = 0;                        ///< fuzz
    bool sessions = false;                         ///< fuzz
    bool reversed = false;                         ///< fuzz
    std::uint64_t count = 0;                       ///< fuzz, latency
};

/** Returns an exit code when nothing is left to do: help was printed, or a mistake reported. */
std::variant<Arguments, ExitCode> ParseArguments(int count, const char* const* values,
                                                 std::ostream& out, std::ostream& err);

} // namespace vantorel::host
