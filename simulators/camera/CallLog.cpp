// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "CallLog.h"

#include <utility>

namespace kirosim {

CallLog& CallLog::Instance() {
    static CallLog* const log = new CallLog; // never destroyed: threads may outlive main()
    return *log;
}

void CallLog::Add(std::string line) {
    const std::lock_guard lock(mutex_);
    if (lines_.size() == MaxLines) {
        lines_.pop_front();
    }
    lines_.push_back(std::move(line));
}

std::string CallLog::Text() const {
    const std::lock_guard lock(mutex_);
    std::string text;
    for (const std::string& line : lines_) {
        text.append(line).append("\n");
    }
    return text;
}

void CallLog::Clear() {
    const std::lock_guard lock(mutex_);
    lines_.clear();
}

} // namespace kirosim
