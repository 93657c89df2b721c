// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <cstddef>
#include <functional>
#include <list>
#include <type_traits>

namespace vantorel {

/**
 * The observers of one subject: non-owning references in the order of registration.
 *
 * The list makes no checks (an observer added twice is notified twice) and removes nothing. Fill it
 * during wiring, before the subject starts; it is read without a lock afterwards.
 * Thread-bound while it is filled, thread-safe from then on.
 */
template <typename Observer>
class ObserverList {
public:
    /** Appends an observer, which must outlive the last notification. */
    void Add(Observer& observer) { observers.emplace_back(observer); }

    /** The number of observers added. */
    std::size_t Count() const { return observers.size(); }

    /** Calls a function with each observer, first to last, on the calling thread. */
    template <typename Call>
    void ForEach(Call call) const {
        for (Observer& observer : observers) {
            call(observer);
        }
    }

    /**
     * Calls an operation on each observer, first to last, on the calling thread. Arguments that the
     * operation takes by value are copied before the first call: an observer that changes the
     * subject does not change what later observers receive.
     */
    template <typename... Parameters>
    void Notify(void (Observer::*operation)(Parameters...),
                std::type_identity_t<Parameters>... arguments) const {
        for (Observer& observer : observers) {
            (observer.*operation)(arguments...);
        }
    }

private:
    std::list<std::reference_wrapper<Observer>> observers;
};

} // namespace vantorel
