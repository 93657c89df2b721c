#pragma once

namespace vantorel {

class Error;
class UniqueFd;

/**
 * Blocks without a time limit until a descriptor can be read, and answers what poll() found on it.
 * Throws Error(errno), which is EINTR when a signal handler ran, and Error(ETIMEDOUT) when the wait
 * ends with nothing.
 */
short WaitForInput(const UniqueFd& fd);

/** Whether an error tells only that such a wait ended without input. */
bool IsEndOfWait(const Error& error);

} // namespace vantorel
