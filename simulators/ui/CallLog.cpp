// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "CallLog.h"

#include <cstdio>
#include <unistd.h>

namespace vantorelui {

void CallLog::Switch(bool isOn) {
    const std::lock_guard lock(mutex);
    if (isOn) {
        calls.clear();
        count = 0;
    }
    on = isOn;
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

    const std::lock_guard lock(mutex);
    if (calls.size() < VANTORELUI_SIM_LOG_CAPACITY) {
        calls.push_back(call);
    } else {
        calls[count % VANTORELUI_SIM_LOG_CAPACITY] = call;
    }
    ++count;
}

std::size_t CallLog::Count() const {
    const std::lock_guard lock(mutex);
    return count;
}

bool CallLog::Get(std::size_t index, vantorelui_sim_call_t& call) const {
    const std::lock_guard lock(mutex);
    if (index >= count || count - index > calls.size()) {
        return false;
    }
    call = calls[index % VANTORELUI_SIM_LOG_CAPACITY];
    return true;
}

} // namespace vantorelui
