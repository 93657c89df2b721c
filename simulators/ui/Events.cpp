// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "Events.h"

#include <cstddef>

namespace vantorelui {

void EventTable::Register(int event, Handler handler, void* context) {
    const std::lock_guard lock(mutex);
    if (event >= 0 && static_cast<std::size_t>(event) < entries.size()) {
        entries[static_cast<std::size_t>(event)] = {handler, context};
    }
}

bool EventTable::Raise(int event) const {
    Entry entry;
    {
        const std::lock_guard lock(mutex);
        if (event >= 0 && static_cast<std::size_t>(event) < entries.size()) {
            entry = entries[static_cast<std::size_t>(event)];
        }
    }
    if (entry.handler == nullptr) {
        return false;
    }
    entry.handler(entry.context);
    return true;
}

void EventTable::Reset() {
    const std::lock_guard lock(mutex);
    entries = {};
}

} // namespace vantorelui
