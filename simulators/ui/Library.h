// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "Buttons.h"
#include "CallLog.h"
#include "Clock.h"
#include "Events.h"
#include "Renderer.h"
#include "UiState.h"

#include <cstdint>
#include <mutex>
#include <optional>

namespace vantorelui {

/** The implementation behind the library's C functions. */
class Library {
public:
    /** Never destroyed: the timer's thread and the application's threads may outlive main(). */
    static Library& Get();

    /** Draws, unless a test has set another image. */
    std::uint32_t* Render();
    void Reset();

    void SetRenderImage(std::optional<std::uint32_t*> image);
    void SetRenderHook(void (*hook)(void*), void* context);

    CallLog calls;
    Clock clock;
    SharedState state;
    EventTable events;
    Buttons buttons{clock, state, events};
    Renderer renderer;

private:
    struct RenderControl {
        void (*hook)(void*) = nullptr;
        void* context = nullptr;
        std::optional<std::uint32_t*> image;
    };

    RenderControl Control() const;

    mutable std::mutex controlMutex;
    RenderControl control;
};

} // namespace vantorelui
