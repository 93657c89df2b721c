// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "FramePacer.h"
#include "Manager.h"

void kirocamera_manager::FrameLoop() {
    kirosim::FramePacer pacer;
    unsigned pace = 0;
    std::unique_lock lock(mutex_);
    while (!quit_) {
        if (!FramesWanted()) {
            changed_.wait(lock);
            continue;
        }
        if (pace != pace_) {
            pace = pace_;
            pacer.Start(Clock::now(), rate_);
        }
        const auto disturbed = [&] { return quit_ || pace != pace_; };
        if (changed_.wait_until(lock, pacer.Deadline(), disturbed)) {
            continue;
        }
        lock.unlock();
        SendFrame();
        lock.lock();
        pacer.Advance(Clock::now());
    }
}

bool kirocamera_manager::FramesWanted() {
    return rate_ > 0 && LastCamera(&kirocamera::session) != nullptr;
}
