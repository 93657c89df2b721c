// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
/**
 * One notification of 1, 4 and 16 observers: by the library's list, by a plain loop of virtual
 * calls over the same kind of list and over an array, and by the signals of two common libraries
 * (QtSignal.cpp measures a third).
 */
#include "benchmarks/Subject.h"
#include "vantorel/service/ObserverList.h"

#include <benchmark/benchmark.h>

#include <deque>
#include <vector>

#if __has_include(<sigc++/sigc++.h>)
#include <sigc++/sigc++.h>
#define HAVE_SIGC 1
#endif
#if __has_include(<boost/signals2.hpp>)
#include <boost/signals2.hpp>
#define HAVE_BOOST 1
#endif

using namespace vantorel;
using benchmarks::Listener;
using benchmarks::Sum;

namespace {

std::deque<Sum> Sums(const benchmark::State& state) {
    return std::deque<Sum>(static_cast<std::size_t>(state.range(0)));
}

template <typename Notify>
void Run(benchmark::State& state, Notify notify) {
    std::uint32_t value = 0;
    for (auto _ : state) {
        notify(++value);
        benchmark::ClobberMemory();
    }
}

void Ours(benchmark::State& state) {
    std::deque<Sum> sums = Sums(state);
    ObserverList<Listener> observers;
    for (Sum& sum : sums) {
        observers.Add(sum);
    }
    benchmark::DoNotOptimize(&observers);
    Run(state, [&](std::uint32_t value) { observers.Notify(&Listener::OnValue, value); });
}

void Loop(benchmark::State& state) {
    std::deque<Sum> sums = Sums(state);
    std::vector<Listener*> observers;
    for (Sum& sum : sums) {
        observers.push_back(&sum);
    }
    benchmark::DoNotOptimize(observers.data());
    Run(state, [&](std::uint32_t value) {
        for (Listener* observer : observers) {
            observer->OnValue(value);
        }
    });
}

#ifdef HAVE_SIGC
void Sigc(benchmark::State& state) {
    std::deque<Sum> sums = Sums(state);
    sigc::signal<void, std::uint32_t> signal;
    for (Sum& sum : sums) {
        signal.connect(sigc::mem_fun(static_cast<Listener&>(sum), &Listener::OnValue));
    }
    Run(state, [&](std::uint32_t value) { signal.emit(value); });
}
BENCHMARK(Sigc)->Arg(1)->Arg(4)->Arg(16);
#endif

#ifdef HAVE_BOOST
void Boost(benchmark::State& state) {
    std::deque<Sum> sums = Sums(state);
    boost::signals2::signal<void(std::uint32_t)> signal;
    for (Sum& sum : sums) {
        Listener* const observer = &sum;
        signal.connect([observer](std::uint32_t value) { observer->OnValue(value); });
    }
    Run(state, [&](std::uint32_t value) { signal(value); });
}
BENCHMARK(Boost)->Arg(1)->Arg(4)->Arg(16);
#endif

BENCHMARK(Ours)->Arg(1)->Arg(4)->Arg(16);
BENCHMARK(Loop)->Arg(1)->Arg(4)->Arg(16);

} // namespace
