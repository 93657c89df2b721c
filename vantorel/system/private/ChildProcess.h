// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace vantorel {

/** The command line of an applet of the device's BusyBox. */
std::vector<std::string> Applet(std::vector<std::string> arguments);

/**
 * Starts a program in a child process; the first argument is its absolute path. The child inherits
 * the caller's descriptors and environment. Of the library's own descriptors it inherits only
 * those of streams (log file, kernel log, an attribute that is being written); the exec closes the
 * others. No signal is blocked in the child, and every signal has its default action. Until its
 * exec, the child borrows the caller's memory. The caller must reap it.
 * @param environment "NAME=value" entries that replace those of the inherited environment
 * @throws Error with the errno when no process can be created; when only the program cannot be run
 *         (it is missing, or memory is short), the child exits with 127
 */
pid_t StartChild(const std::vector<std::string>& arguments,
                 const std::vector<std::string>& environment = {});

/**
 * Starts a program and waits for its end, without a time-out.
 * @return the status from waitpid(); its exit code is 127 when the program cannot be run
 * @throws Error with the errno of a failed fork or wait
 */
int RunAndWait(const std::vector<std::string>& arguments);

/**
 * Starts a child that runs a program repeatedly, each time as soon as the previous run has ended.
 * Of the library's descriptors, the child keeps only those of streams. It keeps none of the
 * caller's signal handlers and ignored or blocked signals, and not the display's memory
 * (MADV_DONTFORK in LCD.cpp). It has a copy of everything else in the caller's memory.
 * @return the process id of that child
 * @throws Error with the errno of a failed fork
 */
pid_t StartSupervised(const std::vector<std::string>& arguments);

} // namespace vantorel
