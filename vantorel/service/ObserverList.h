#pragma once

#include <cstddef>
#include <functional>
#include <list>
#include <type_traits>

namespace vantorel {

/**
 * The observers of one subject: non-owning references in the order of registration.
 *
 * Nothing is checked (an observer registered twice is told twice) and nothing can be removed.
 * Written during wiring, before the subject starts, and read without a lock afterwards.
 */
template <typename Observer>
class ObserverList {
public:
    /** Appends an observer, which must outlive the last notification. */
    void Add(Observer& observer) { observers.emplace_back(observer); }

    /** How many have been added. */
    std::size_t Count() const { return observers.size(); }

    /** Calls a function with every observer, first to last, on the calling thread. */
    template <typename Call>
    void ForEach(Call call) const {
        for (Observer& observer : observers) {
            call(observer);
        }
    }

    /**
     * Calls an operation on every observer, first to last, on the calling thread. What the
     * operation takes by value is copied before the first call: an observer that changes the
     * subject does not change what those after it hear.
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
