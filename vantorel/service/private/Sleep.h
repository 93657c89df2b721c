// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <chrono>

namespace vantorel {

/** Sleeps for the whole duration, even when signals interrupt it; zero or less returns at once. */
void SleepFor(std::chrono::milliseconds duration);

} // namespace vantorel
