// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <atomic>
#include <cstdlib>
#include <iostream>
#include <set>
#include <streambuf>
#include <string_view>
#include <utility>

namespace vantorel::test {

inline void Demand(bool condition, const char* what) {
    if (!condition) {
        std::cerr << "broken: " << what << std::endl;
        std::abort();
    }
}

/** Replaces standard output and checks the status lines. */
class StatusLines final : public std::streambuf {
public:
    std::atomic<int> state{0};
    std::atomic<bool> sessionWanted{false}; // the state requires a session
    std::atomic<bool> bound{false};         // a host may stop the session
    std::atomic<bool> decided{false};       // all observers know the first state

private:
    std::streamsize xsputn(const char* text, std::streamsize size) override {
        const std::string_view line(text, static_cast<std::size_t>(size));
        Demand(line.ends_with('\n'), "each line is written in one call");
        static constexpr std::string_view transition = "CONNECTION TRANSITION TO STATE: ";
        if (line.starts_with(transition)) {
            static const std::set<std::pair<int, int>> legal = {{0, 1}, {0, 2}, {0, 3}, {0, 4},
                                                                {0, 5}, {1, 2}, {2, 1}, {2, 5}};
            const int next = line[transition.size()] - '0';
            Demand(legal.contains({state, next}), "transition between connection states");
            state = next;
        } else if (line.starts_with("CAMERA: CONNECTION_STATE_CHANGED 1")) {
            sessionWanted = true;
        } else if (line.starts_with("USB BIND GADGETS")) {
            bound = true;
        } else if (line.starts_with("FUEL GAUGE SERVICE START")) {
            decided = true;
        }
        return size;
    }
    int overflow(int character) override { return character; }
};

} // namespace vantorel::test
