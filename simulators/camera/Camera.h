// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "DisplayProcessor.h"
#include "kirocamera.h"

#include <chrono>
#include <cstdint>

/**
 * The state of one camera that is or was connected. Guarded by the manager's mutex, except for the
 * constant members.
 */
struct kirocamera {
    kirocamera(kirocamera_manager& owner, unsigned id) : manager(owner), number(id) {}

    kirocamera_manager& manager;
    const unsigned number;
    bool connected = true;
    bool announced = false;
    bool session = false;
    std::uint32_t format = 0;
    kirosim::Modes modes;
    kirocamera_frame_available_callback_t callback = nullptr;
    void* user = nullptr;
    std::uint32_t frames = 0;
    const std::chrono::steady_clock::time_point powerOn = std::chrono::steady_clock::now();
};
