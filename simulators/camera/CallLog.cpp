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
    const std::lock_guard lock(mutex);
    if (lines.size() == maxLines) {
        lines.pop_front();
    }
    lines.push_back(std::move(line));
}

std::string CallLog::Text() const {
    const std::lock_guard lock(mutex);
    std::string text;
    for (const std::string& line : lines) {
        text.append(line).append("\n");
    }
    return text;
}

void CallLog::Clear() {
    const std::lock_guard lock(mutex);
    lines.clear();
}

} // namespace kirosim
