// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "FramePacer.h"
#include "Manager.h"

void kirocamera_manager::FrameLoop() {
    kirosim::FramePacer pacer;
    unsigned followed = 0;
    std::unique_lock lock(mutex);
    while (!quit) {
        if (!FramesWanted()) {
            changed.wait(lock);
            continue;
        }
        if (followed != pace) {
            followed = pace;
            pacer.Start(Clock::now(), rate);
        }
        const auto disturbed = [&] { return quit || followed != pace; };
        if (changed.wait_until(lock, pacer.Deadline(), disturbed)) {
            continue;
        }
        lock.unlock();
        SendFrame();
        lock.lock();
        pacer.Advance(Clock::now());
    }
}

bool kirocamera_manager::FramesWanted() {
    return rate > 0 && LastCamera(&kirocamera::session) != nullptr;
}
