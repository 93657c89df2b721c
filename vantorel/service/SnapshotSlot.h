// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Mutex.h"

#include <atomic>
#include <memory>
#include <utility>

namespace vantorel {

/**
 * A slot for one object that threads read in place while another thread replaces it. Reading takes
 * no lock, waits for nothing, and keeps every object alive that the reader may see. Replaced
 * objects are destroyed without holding the lock, by the first thread that finds no reader in the
 * slot; a reader that ends after a replacement takes the lock for a moment to find them.
 * Thread-safe.
 *
 * A replaced object therefore lives on while readers overlap without a gap. Use SharedSlot where
 * that is too long.
 */
template <typename T>
class SnapshotSlot {
    struct Entry {
        const T object;
        std::unique_ptr<Entry> replaced; // guarded by the mutex
    };

public:
    /** Reads the object that the slot holds at the reader's construction. */
    class Reader {
    public:
        /** Starts reading. */
        explicit Reader(const SnapshotSlot& from) : slot(from) {
            slot.state.fetch_add(oneReader);
            entry = slot.newest.load();
        }
        Reader(const Reader&) = delete;
        Reader& operator=(const Reader&) = delete;
        /** Stops reading; may destroy replaced objects. */
        ~Reader() {
            if (slot.state.fetch_sub(oneReader) == oneReader + hasReplaced) {
                slot.DestroyReplaced();
            }
        }

        /** The object, valid until the reader is destroyed. */
        const T& operator*() const { return entry->object; }
        /** A member of the object. */
        const T* operator->() const { return &entry->object; }

    private:
        const SnapshotSlot& slot;
        const Entry* entry;
    };

    /** @param first the object that the slot holds until the first Store() */
    explicit SnapshotSlot(T first) : newest(new Entry{std::move(first), nullptr}) {}
    SnapshotSlot(const SnapshotSlot&) = delete;
    SnapshotSlot& operator=(const SnapshotSlot&) = delete;
    /** Requires that every reader has been destroyed. */
    ~SnapshotSlot() { const std::unique_ptr<Entry> all(newest.load()); }

    /** Starts reading the object that was stored last. */
    Reader Read() const { return Reader(*this); }

    /** Replaces the object. */
    void Store(T replacement) {
        std::unique_ptr<Entry> entry(new Entry{std::move(replacement), nullptr});
        {
            const Lock lock(mutex);
            entry->replaced.reset(newest.load());
            newest.store(entry.release());
            state.fetch_or(hasReplaced);
        }
        DestroyReplaced();
    }

private:
    // The bits of the state: one for the existence of replaced objects, the others count readers.
    static constexpr unsigned hasReplaced = 1;
    static constexpr unsigned oneReader = 2;

    /** Destroys the replaced objects unless a reader may see one. */
    void DestroyReplaced() const {
        std::unique_ptr<Entry> unread; // outlives the lock
        const Lock lock(mutex);
        unsigned noReader = hasReplaced;
        // A reader that comes after this exchange sees the newest object.
        if (state.compare_exchange_strong(noReader, 0)) {
            unread = std::move(newest.load()->replaced);
        }
    }

    mutable std::atomic<unsigned> state = 0;
    std::atomic<Entry*> newest;
    mutable Mutex mutex;
};

} // namespace vantorel
