// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "host/Protocol.h"

#include <cstdint>

namespace vantorel::host {

/** Round trips in microseconds. */
struct LatencySummary {
    double shortest = 0;
    double median = 0;
    double worst = 0;
};

/** Summary of samples in microseconds; takes at least one. */
LatencySummary Summarize(std::vector<double> samples);

/** Measures reading the status word, from the call to its return. */
LatencySummary MeasureLatency(Protocol& protocol, std::uint64_t count);

} // namespace vantorel::host
