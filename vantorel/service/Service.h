// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Export.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace vantorel {

/**
 * An object with one worker thread that calls ServiceFunction() repeatedly, with a fixed pause
 * before each call.
 *
 * The pause comes first: the first call happens one interval after Start(), and the period is the
 * interval plus the duration of the work. An interval of zero or less means no pause; a blocking
 * call in the work paces such a service.
 *
 * Start and stop a service once: Stop() leaves the stop request set, so a later Start() creates a
 * thread that ends at once, while the service counts as running. Destroying a service that was
 * started and not stopped ends the process, unless the class documents that its destructor stops
 * it.
 *
 * Thread-bound: different threads may call Start() and Stop(), but not at the same time. An
 * exception that leaves ServiceFunction() ends the process.
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
     * Starts the worker thread; does nothing when the service is already running.
     * @throws std::system_error when the thread cannot be created; the service is not running then
     */
    void Start();

    /**
     * Requests a stop and waits for at most one pause and one cycle; no effect when not running.
     * Do not call it on the service's own thread, and so not in a notification of its observers:
     * the thread would wait for itself, and the process ends.
     */
    void Stop();

    /**
     * The worker's loop, which Start() runs on the service's thread: a pause and a cycle, repeated
     * until a stop is requested. Returns at once after Stop() of a service that was started. An
     * application may run the loop on a thread of its own instead of calling Start(). Stop() then
     * does nothing: only an exception of ServiceFunction(), which the caller receives, ends the
     * loop.
     */
    static void ServiceThreadFunction(Service* service);

    /** The pause before each cycle. Thread-safe. */
    std::chrono::milliseconds Interval() const { return interval; }

protected:
    /**
     * Ends the process while the worker runs. The destructor of every derived class first calls it,
     * or Stop(): a worker that still runs would call into a half-destroyed object. The base class's
     * destructor would end the process too, but too late.
     */
    void TerminateIfJoinable() const noexcept;

private:
    std::atomic<bool> stop{false};
    std::atomic<bool> running{false};
    const std::chrono::milliseconds interval;
    std::thread thread;
};

} // namespace vantorel
