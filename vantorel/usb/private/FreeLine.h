#pragma once

#include <string>

namespace vantorel {

/**
 * Kills every other process that has a serial line open, by whatever name. One that this process
 * may not look into (without CAP_SYS_PTRACE one with more capabilities) is killed when the line is
 * its controlling terminal.
 * @param line the line's node; nothing happens when there is none
 */
void EndUsersOf(const std::string& line);

/**
 * The same for a line that is about to be removed, with its name taken away so that nobody comes
 * back. The kernel removes a line only when nobody has it open, and makes the caller wait for that
 * so that no signal reaches it.
 * @param line the line's node; nothing happens when there is none
 * @throws Error with EBUSY, the name being back in its place, when the line is still open after
 *         five seconds: a process that cannot be killed has it, or this one
 */
void FreeLine(const std::string& line);

} // namespace vantorel
