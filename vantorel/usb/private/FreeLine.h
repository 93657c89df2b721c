// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <string>

namespace vantorel {

/**
 * Kills every other process that has a serial line open, under any path. A process that this one
 * may not inspect (without CAP_SYS_PTRACE one with more capabilities) is killed when the line is
 * its controlling terminal.
 * @param line the line's node; does nothing when there is none
 */
void EndUsersOf(const std::string& line);

/**
 * The same for a line that is about to be removed; renames the node first, so that no process opens
 * it again. The kernel removes a line only when no process has it open, and makes the caller wait
 * uninterruptibly for that.
 * @param line the line's node; does nothing when there is none
 * @throws Error with EBUSY, after restoring the name, when the line is still open after 500
 *         searches, which take at least five seconds: by a process that cannot be killed, or by
 * this one
 */
void FreeLine(const std::string& line);

} // namespace vantorel
