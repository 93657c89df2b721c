#pragma once

#include "vantorel/service/Export.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace vantorel {

/**
 * An object with one worker thread that calls ServiceFunction() over and over, with a fixed pause
 * before each call.
 *
 * The pause comes first: the first call happens one interval after Start(), and the period is the
 * interval plus the time that the work took. An interval of zero or less means no pause at all;
 * such a service is paced by a blocking call in its work.
 *
 * Started once, stopped once: Stop() leaves the stop request set, so a Start() after it gives a
 * thread that ends at once, while the service counts as running. Destroying a service that was
 * started and not stopped ends the process.
 *
 * Start() and Stop() may be called by different threads, but not at the same time. An exception
 * that leaves ServiceFunction() ends the process.
 */
class VANTOREL_EXPORT Service {
public:
    /** @param pause before each cycle; zero or less for none */
    explicit Service(std::chrono::milliseconds pause);
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;
    virtual ~Service();

    /** One cycle of work; called on the worker thread. */
    virtual void ServiceFunction() = 0;

    /**
     * Starts the worker thread; does nothing when the service is running already.
     * @throws std::system_error when no thread can be had; the service is then not running
     */
    void Start();

    /** Requests the end and waits for at most one pause and one cycle; no effect when not running.
     */
    void Stop();

    /**
     * The worker's loop, which Start() runs on the service's thread: until a stop is requested, a
     * pause and a cycle. Returns at once when Stop() has been called before. Public, for an
     * application that runs the loop on a thread of its own making, with another stack or priority;
     * Stop() requests an end only of a service that was started, and does not wait for that thread.
     */
    static void ServiceThreadFunction(Service* service);

    /** The pause before each cycle. Thread-safe. */
    std::chrono::milliseconds Interval() const { return interval; }

protected:
    /**
     * To be called first by the destructor of every derived class: a worker that still runs would
     * go on calling into a half-destroyed object, so the process ends here as it would in the
     * base class, only before the harm is done.
     */
    void TerminateIfJoinable() const noexcept;

private:
    std::atomic<bool> stop{false};
    std::atomic<bool> running{false};
    const std::chrono::milliseconds interval;
    std::thread thread;
};

} // namespace vantorel
