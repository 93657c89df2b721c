// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <array>
#include <mutex>

namespace vantorelui {

/** The registered handlers. They are called without a lock and may throw. */
class EventTable {
public:
    using Handler = void (*)(void* context);

    void Register(int event, Handler handler, void* context);
    /** Calls the event's handler on this thread; returns false when none is registered. */
    bool Raise(int event) const;
    void Reset();

private:
    struct Entry {
        Handler handler = nullptr;
        void* context = nullptr;
    };

    mutable std::mutex mutex;
    std::array<Entry, 6> entries;
};

} // namespace vantorelui
