// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
/**
 * The cost of a frame in the library, on the device's processor and display, compared with the
 * minimum and with memcpy() of the same bytes. Prints a line for each: name, nanoseconds of the
 * library, of the minimum (drawing needs only the bytes) and of memcpy(), allocations in a hundred
 * frames.
 */
#include "benchmarks/FramePath.h"
#include "tests/support/CountedAllocations.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <limits>

#include <fcntl.h>
#include <unistd.h>

using namespace vantorel;
using namespace vantorel::benchmarks;

namespace {

constexpr int rounds = 400; // short, so that some are undisturbed
constexpr std::size_t bytesOfARound = 2 << 20;
constexpr int counted = 100; // frames

/** The fastest round of each; other load can only slow a round. */
struct Fastest {
    double ours = std::numeric_limits<double>::max();
    double least = std::numeric_limits<double>::max();
    double bare = std::numeric_limits<double>::max();
};

template <typename Step>
double Time(int count, Step step) {
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < count; ++i) {
        step();
    }
    const std::chrono::duration<double, std::nano> passed =
        std::chrono::steady_clock::now() - begin;
    return passed.count() / count;
}

/** The minimum of three attempts with a hundred frames each: every thousandth prints a line. */
template <typename Step>
int Allocations(Step step) {
    int fewest = std::numeric_limits<int>::max();
    for (int attempt = 0; attempt < 3; ++attempt) {
        test::allocations = 0;
        test::countAllocations = true;
        Time(counted, step);
        test::countAllocations = false;
        fewest = std::min(fewest, test::allocations.load());
    }
    return fewest;
}

template <typename Ours, typename Least, typename Bare>
void Measure(const std::string& name, std::size_t bytes, Ours ours, Least least, Bare bare) {
    const int count = static_cast<int>(std::max<std::size_t>(bytesOfARound / bytes, 1));
    Fastest best;
    for (int round = 0; round < rounds; ++round) {
        best.ours = std::min(best.ours, Time(count, ours));
        best.least = std::min(best.least, Time(count, least));
        best.bare = std::min(best.bare, Time(count, bare));
    }
    std::fprintf(stderr, "%s %.0f %.0f %.0f %d\n", name.c_str(), best.ours, best.least, best.bare,
                 Allocations(ours));
}

} // namespace

int main() {
    // The results go to standard error; the library's status lines are discarded.
    if (::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO) < 0) {
        return 1;
    }
    LCD lcd("lcd", "/dev/vantorel/display");
    std::vector<std::uint32_t> drawn(std::size_t{lcd.Width()} * lcd.Height(), 0x336699);
    picture = drawn.data();
    FramePath path;
    std::uint32_t* const back = lcd.BackBuffer();
    for (const Geometry& frame : frames) {
        path.Use(frame);
        path.Draw(lcd, back);
        Measure(
            "Keep/" + frame.Name(), headerSize + frame.Bytes(), [&] { path.Frame(); },
            [&] { path.CopyFrameLocked(); }, [&] { path.CopyFrame(); });
    }
    const std::size_t bytes = drawn.size() * sizeof(std::uint32_t);
    const auto copy = [&] { std::memcpy(back, drawn.data(), bytes); };
    Measure(
        "Draw/480x640x4", bytes, [&] { path.Draw(lcd, back); }, copy, copy);
    std::fflush(stderr);
    ::_exit(0); // the simulated camera stays connected
}
