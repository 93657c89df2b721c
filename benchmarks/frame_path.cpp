// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
/**
 * The cost of a frame in the library, compared with memcpy() of the same bytes and with the
 * minimum, and the allocations and locks per frame. Needs private mounts, which ./bench provides.
 */
#include "benchmarks/FramePath.h"
#include "tests/support/CountedAllocations.h"
#include "tests/support/kernel/Drm.h"
#include "tests/ui/DeviceFiles.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <limits>
#include <memory>

#include <pthread.h>

// The linker redirects the lock calls of the library's objects to this code.
namespace {
thread_local int locks = 0;
}
extern "C" {
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    ++locks;
    return __real_pthread_mutex_lock(mutex);
}
}

using namespace vantorel;
using namespace vantorel::benchmarks;

namespace {

constexpr int counted = 100; // frames

struct Bench {
    // Before the card, which answers every read: the user interface first reads the units' file.
    FramePath path;
    test::ScopedSys sys;
    test::FakeCard card{sys};
    std::optional<LCD> lcd;
    std::vector<std::uint32_t> drawn;
    std::vector<std::uint32_t> back;

    void Use(const Geometry& frame, std::uint16_t width, std::uint16_t height) {
        card.modes.front().hdisplay = width;
        card.modes.front().vdisplay = height;
        card.size = std::uint64_t{width} * height * 4;
        lcd.emplace("lcd", "/dev/null");
        drawn.assign(std::size_t{width} * height, 0x336699);
        back.assign(drawn.size(), 0);
        picture = drawn.data();
        path.Use(frame);
        path.Draw(*lcd, back.data());
    }
};

Bench& TheBench() {
    static Bench bench;
    return bench;
}

/** The minimum of three times a hundred frames: every thousandth prints a line, which allocates. */
template <typename Step>
void Count(benchmark::State& state, Step step) {
    int fewestAllocations = std::numeric_limits<int>::max();
    int fewestLocks = std::numeric_limits<int>::max();
    for (int attempt = 0; attempt < 3; ++attempt) {
        const int allocationsBefore = test::allocations;
        const int locksBefore = locks;
        test::countAllocations = true;
        for (int frame = 0; frame < counted; ++frame) {
            step();
        }
        test::countAllocations = false;
        fewestAllocations = std::min(fewestAllocations, test::allocations - allocationsBefore);
        fewestLocks = std::min(fewestLocks, locks - locksBefore);
    }
    state.counters["allocations"] = fewestAllocations / double{counted};
    state.counters["locks"] = fewestLocks / double{counted};
}

void Keep(benchmark::State& state, const Geometry& frame) {
    Bench& bench = TheBench();
    bench.Use(frame, 480, 640);
    Count(state, [&] { bench.path.Frame(); });
    for (auto _ : state) {
        bench.path.Frame();
        benchmark::ClobberMemory();
    }
}

void KeepBare(benchmark::State& state, const Geometry& frame) {
    Bench& bench = TheBench();
    bench.Use(frame, 480, 640);
    for (auto _ : state) {
        bench.path.CopyFrame();
        benchmark::ClobberMemory();
    }
}

void KeepLocked(benchmark::State& state, const Geometry& frame) {
    Bench& bench = TheBench();
    bench.Use(frame, 480, 640);
    for (auto _ : state) {
        bench.path.CopyFrameLocked();
        benchmark::ClobberMemory();
    }
}

void Draw(benchmark::State& state, const Geometry& screen) {
    Bench& bench = TheBench();
    bench.Use(frames.front(), screen.width, screen.height);
    Count(state, [&] { bench.path.Draw(*bench.lcd, bench.back.data()); });
    for (auto _ : state) {
        bench.path.Draw(*bench.lcd, bench.back.data());
        benchmark::ClobberMemory();
    }
}

void DrawBare(benchmark::State& state, const Geometry& screen) {
    Bench& bench = TheBench();
    bench.Use(frames.front(), screen.width, screen.height);
    for (auto _ : state) {
        std::memcpy(bench.back.data(), bench.drawn.data(),
                    bench.back.size() * sizeof(std::uint32_t));
        benchmark::ClobberMemory();
    }
}

} // namespace

int main(int count, char** arguments) {
    test::ReplaceDeviceFiles("REV-6", "1.5.0");
    benchmark::Initialize(&count, arguments);
    for (const Geometry& geometry : frames) {
        const auto add = [&](const char* name, auto function) {
            benchmark::RegisterBenchmark((name + geometry.Name()).c_str(), function, geometry);
        };
        add("Keep/ours/", Keep);
        add("Keep/memcpy/", KeepBare);
        add("Keep/locked/", KeepLocked);
        add("Draw/ours/", Draw);
        add("Draw/memcpy/", DrawBare);
    }
    benchmark::RunSpecifiedBenchmarks();
    std::_Exit(0); // the simulated camera stays connected
}
