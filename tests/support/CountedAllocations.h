// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <atomic>

namespace vantorel::test {

/** While a thread sets this to true, its allocations are counted. */
extern thread_local bool countAllocations;
extern std::atomic<int> allocations;

} // namespace vantorel::test
