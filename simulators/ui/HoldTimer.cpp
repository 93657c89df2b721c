// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "HoldTimer.h"

#include <chrono>
#include <csignal>
#include <thread>
#include <utility>

namespace vantorelui {

HoldTimer::HoldTimer(const Clock& clock, std::function<void()> expired)
    : clock_(clock), expired_(std::move(expired)) {}

void HoldTimer::Arm(std::int64_t deadline) {
    const std::lock_guard lock(mutex_);
    if (!started_) {
        Start();
        started_ = true;
    }
    deadline_ = deadline;
    changed_.notify_all();
}

void HoldTimer::Disarm() {
    const std::lock_guard lock(mutex_);
    deadline_.reset();
    changed_.notify_all();
}

void HoldTimer::Settle() {
    std::unique_lock lock(mutex_);
    changed_.notify_all();
    changed_.wait(lock, [this] { return !reporting_ && !IsDue(); });
}

void HoldTimer::Start() {
    // The application decides which of its threads takes signals. This one takes only those of its
    // own faults.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP}) {
        sigdelset(&all, fault);
    }
    pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread([this] { Run(); }).detach();
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void HoldTimer::Run() {
    std::unique_lock lock(mutex_);
    while (true) {
        if (IsDue()) {
            deadline_.reset();
            reporting_ = true;
            lock.unlock();
            expired_();
            lock.lock();
            reporting_ = false;
            changed_.notify_all();
        } else if (deadline_ && !clock_.IsManual()) {
            changed_.wait_for(lock, std::chrono::milliseconds(*deadline_ - clock_.Now()));
        } else {
            changed_.wait(lock);
        }
    }
}

} // namespace vantorelui
