// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <chrono>

namespace vantorel {

class Error;
class UniqueFd;

/**
 * Blocks without a time limit until a descriptor is readable, and returns the events from poll().
 * Throws Error(errno), which is EINTR when a signal handler ran, and Error(ETIMEDOUT) when the wait
 * ends without an event.
 */
short WaitForInput(const UniqueFd& fd);

/**
 * The same with a time limit; returns whether poll() reported anything before it. Throws
 * Error(errno), but never ETIMEDOUT: a wait that ends without an event has reached the limit.
 */
bool WaitForInput(const UniqueFd& fd, std::chrono::milliseconds limit);

/** Whether an error means only that such a wait ended without input. */
bool IsEndOfWait(const Error& error);

} // namespace vantorel
