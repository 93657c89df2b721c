// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <VantorelUI_sim.h>

#include <atomic>
#include <cstddef>
#include <mutex>
#include <vector>

namespace vantorelui {

/** A call's argument; a function has at most one, RegisterUIEvent() two. */
struct CallArguments {
    const char* text = nullptr;
    double number = 0;
    const void* pointer = nullptr;
};

/** Records the application's calls; while it is off, it costs one test per call. */
class CallLog {
public:
    void Switch(bool isOn);
    void Add(const char* function, const CallArguments& arguments = {}) {
        if (on.load(std::memory_order_relaxed)) {
            Record(function, arguments);
        }
    }
    std::size_t Count() const;
    bool Get(std::size_t index, vantorelui_sim_call_t& call) const;

private:
    void Record(const char* function, const CallArguments& arguments);

    std::atomic<bool> on = false;
    mutable std::mutex mutex;
    std::vector<vantorelui_sim_call_t> calls; ///< a ring once it is full
    std::size_t count = 0;
};

} // namespace vantorelui
