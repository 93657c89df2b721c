// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "HoldTimer.h"

#include <chrono>
#include <csignal>
#include <thread>
#include <utility>

namespace vantorelui {

namespace {

/**
 * Threads that are created while this object lives handle only the signals of their own faults: the
 * application decides which of its threads handles the others.
 */
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP}) {
            sigdelset(&all, fault);
        }
        pthread_sigmask(SIG_SETMASK, &all, &before);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t before{};
};

} // namespace

HoldTimer::HoldTimer(const Clock& source, std::function<void()> action)
    : clock(source), expired(std::move(action)) {}

void HoldTimer::Arm(std::int64_t at) {
    const std::lock_guard lock(mutex);
    if (!started) {
        Start();
        started = true;
    }
    deadline = at;
    changed.notify_all();
}

void HoldTimer::Disarm() {
    const std::lock_guard lock(mutex);
    deadline.reset();
    changed.notify_all();
}

void HoldTimer::Settle() {
    std::unique_lock lock(mutex);
    changed.notify_all();
    changed.wait(lock, [this] { return !reporting && !IsDue(); });
}

void HoldTimer::Start() {
    const SignalsBlocked blocked;
    std::thread([this] { Run(); }).detach();
}

void HoldTimer::Run() {
    std::unique_lock lock(mutex);
    while (true) {
        if (IsDue()) {
            deadline.reset();
            reporting = true;
            lock.unlock();
            expired();
            lock.lock();
            reporting = false;
            changed.notify_all();
        } else if (deadline && !clock.IsManual()) {
            changed.wait_for(lock, std::chrono::milliseconds(*deadline - clock.Now()));
        } else {
            changed.wait(lock);
        }
    }
}

} // namespace vantorelui
