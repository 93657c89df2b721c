// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <cstddef>
#include <deque>
#include <mutex>
#include <string>

namespace kirosim {

/** The last calls that an application made, one line each. Thread-safe. */
class CallLog {
public:
    static CallLog& Instance();

    void Add(std::string line);
    std::string Text() const;
    void Clear();

private:
    static constexpr std::size_t maxLines = 1000;

    mutable std::mutex mutex;
    std::deque<std::string> lines;
};

} // namespace kirosim
