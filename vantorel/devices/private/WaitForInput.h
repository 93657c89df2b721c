#pragma once

namespace vantorel {

class Error;
class UniqueFd;

/**
 * Blocks without a time limit until a descriptor is readable, and returns the events from poll().
 * Throws Error(errno), which is EINTR when a signal handler ran, and Error(ETIMEDOUT) when the wait
 * ends without an event.
 */
short WaitForInput(const UniqueFd& fd);

/** Whether an error means only that such a wait ended without input. */
bool IsEndOfWait(const Error& error);

} // namespace vantorel
