// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "host/Latency.h"

#include <algorithm>
#include <chrono>

namespace vantorel::host {

LatencySummary Summarize(std::vector<double> samples) {
    std::ranges::sort(samples);
    const std::size_t half = samples.size() / 2;
    const double median =
        samples.size() % 2 != 0 ? samples[half] : (samples[half - 1] + samples[half]) / 2;
    return {samples.front(), median, samples.back()};
}

LatencySummary MeasureLatency(Protocol& protocol, std::uint64_t count) {
    using Clock = std::chrono::steady_clock;
    protocol.Status(); // the first request includes set-up work on both sides
    std::vector<double> samples;
    samples.reserve(static_cast<std::size_t>(count));
    while (samples.size() < count) {
        const auto begin = Clock::now();
        protocol.Status();
        const std::chrono::duration<double, std::micro> time = Clock::now() - begin;
        samples.push_back(time.count());
    }
    return Summarize(std::move(samples));
}

} // namespace vantorel::host
