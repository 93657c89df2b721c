// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "CallLog.h"

#include <cstdio>
#include <unistd.h>

namespace vantorelui {

void CallLog::Switch(bool on) {
    const std::lock_guard lock(mutex_);
    if (on) {
        calls_.clear();
        count_ = 0;
    }
    on_ = on;
}

void CallLog::Record(const char* function, const CallArguments& arguments) {
    vantorelui_sim_call_t call{};
    std::snprintf(call.function, sizeof call.function, "%s", function);
    if (arguments.text != nullptr) {
        std::snprintf(call.text, sizeof call.text, "%s", arguments.text);
    }
    call.number = arguments.number;
    call.pointer = arguments.pointer;
    call.thread = gettid();

    const std::lock_guard lock(mutex_);
    if (calls_.size() < VANTORELUI_SIM_LOG_CAPACITY) {
        calls_.push_back(call);
    } else {
        calls_[count_ % VANTORELUI_SIM_LOG_CAPACITY] = call;
    }
    ++count_;
}

std::size_t CallLog::Count() const {
    const std::lock_guard lock(mutex_);
    return count_;
}

bool CallLog::Get(std::size_t index, vantorelui_sim_call_t& call) const {
    const std::lock_guard lock(mutex_);
    if (index >= count_ || count_ - index > calls_.size()) {
        return false;
    }
    call = calls_[index % VANTORELUI_SIM_LOG_CAPACITY];
    return true;
}

} // namespace vantorelui
