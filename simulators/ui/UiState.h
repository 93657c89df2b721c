// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <optional>
#include <string_view>

namespace vantorelui {

/** Text in a fixed buffer, so that copying the state for a frame does not allocate. */
template <std::size_t Capacity>
class FixedText {
public:
    /** Null counts as empty; text that does not fit is cut off. */
    void Assign(const char* source) {
        length = source == nullptr ? 0 : strnlen(source, Capacity);
        std::copy_n(source, length, text.data());
    }
    std::string_view View() const { return {text.data(), length}; }
    bool operator==(const FixedText& other) const { return View() == other.View(); }

private:
    std::array<char, Capacity> text{};
    std::size_t length = 0;
};

/** Values as in vantorelui_sim_screen(). */
enum class ScreenId { None, Splash, Thermal, Charging, Update, Error };
enum class UpdatePhase { Waiting, Uploading, Succeeded, Failed };

/** Everything that the screens show, except the thermal image. */
struct UiState {
    ScreenId screen = ScreenId::None;
    bool fahrenheit = false;
    bool torchLit = false;
    bool overheating = false;
    std::optional<std::uint8_t> battery;
    std::optional<float> spot;
    std::optional<float> environment;
    FixedText<32> chip;
    FixedText<64> sku;
    FixedText<64> version;
    FixedText<640> debug;
    UpdatePhase updatePhase = UpdatePhase::Waiting;
    std::uint8_t updateProgress = 0;
};

/** The state, which the application's threads write and the renderer reads. */
class SharedState {
public:
    template <typename Change>
    auto Modify(Change&& change) {
        const std::lock_guard lock(mutex);
        ++generation;
        return change(state);
    }
    template <typename Reader>
    auto Query(Reader&& read) const {
        const std::lock_guard lock(mutex);
        return read(state);
    }
    /** Updates `copy` if the state has changed since generation `seen`, which it also updates. */
    void Refresh(UiState& copy, std::uint64_t& seen) const {
        const std::lock_guard lock(mutex);
        if (seen != generation) {
            seen = generation;
            copy = state;
        }
    }

private:
    mutable std::mutex mutex;
    UiState state;
    std::uint64_t generation = 1;
};

} // namespace vantorelui
