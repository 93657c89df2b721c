#pragma once

#include <VantorelUI.h>
#include <VantorelUI_sim.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace uisimulator {

using Image = std::vector<std::uint32_t>;

inline std::size_t PixelCount() {
    return static_cast<std::size_t>(vantorelui_sim_width()) *
           static_cast<std::size_t>(vantorelui_sim_height());
}

/** A copy of what Render() draws; empty when it draws nothing. */
inline Image Shot() {
    const std::uint32_t* pixels = Render();
    return pixels == nullptr ? Image() : Image(pixels, pixels + PixelCount());
}

/** Starts every test with a fresh library whose clock stands still. */
class UISimulator : public testing::Test {
protected:
    void SetUp() override {
        vantorelui_sim_reset();
        vantorelui_sim_use_manual_clock();
    }
    void TearDown() override { vantorelui_sim_reset(); }
};

/** Moves a button down and up; the clock advances meanwhile and afterwards. */
inline void Press(void (*down)(), void (*up)(), unsigned held, unsigned pause = 0) {
    down();
    vantorelui_sim_advance_clock(held);
    up();
    vantorelui_sim_advance_clock(pause);
}

} // namespace uisimulator
