// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Error.h"

#include <stdexcept>
#include <string>
#include <type_traits>

namespace app {

/**
 * Calls `construct`. The library's Error holds a number only, so a failed start would not say which
 * of a dozen devices is missing; the exception thrown here names it.
 * @param where the paths or names by which the kernel knows the device
 * @throws std::runtime_error instead of an Error
 */
template <typename Construct>
auto Open(const std::string& name, const std::string& where, Construct construct) {
    try {
        return construct();
    } catch (const vantorel::Error& error) {
        throw std::runtime_error(name + " (" + where + "): " + error.ToString() + " (" +
                                 std::to_string(error.Value()) + ")");
    }
}

/** Constructs a part from its name and further arguments; the texts among these are its paths. */
template <typename Part, typename... Arguments>
Part Open(const char* name, Arguments... arguments) {
    std::string where;
    const auto append = [&](const auto& argument) {
        if constexpr (std::is_convertible_v<decltype(argument), const char*>) {
            where += (where.empty() ? "" : ", ") + std::string(argument);
        }
    };
    (append(arguments), ...);
    return Open(name, where, [&] { return Part(name, arguments...); });
}

} // namespace app
