// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "Events.h"

#include <cstddef>

namespace vantorelui {

void EventTable::Register(int event, Handler handler, void* context) {
    const std::lock_guard lock(mutex_);
    if (event >= 0 && static_cast<std::size_t>(event) < entries_.size()) {
        entries_[static_cast<std::size_t>(event)] = {handler, context};
    }
}

bool EventTable::Raise(int event) const {
    Entry entry;
    {
        const std::lock_guard lock(mutex_);
        if (event >= 0 && static_cast<std::size_t>(event) < entries_.size()) {
            entry = entries_[static_cast<std::size_t>(event)];
        }
    }
    if (entry.handler == nullptr) {
        return false;
    }
    entry.handler(entry.context);
    return true;
}

void EventTable::Reset() {
    const std::lock_guard lock(mutex_);
    entries_ = {};
}

} // namespace vantorelui
