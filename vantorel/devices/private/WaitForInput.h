#pragma once

namespace vantorel {

class UniqueFd;

/**
 * Blocks without a time limit until a descriptor can be read. Throws Error(errno), which is EINTR
 * when a signal handler ran, and Error(ETIMEDOUT) when the wait ends with nothing.
 */
void WaitForInput(const UniqueFd& fd);

} // namespace vantorel
