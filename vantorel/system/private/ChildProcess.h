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
 * Starts a program in a child of its own; the first argument is its absolute path. The child
 * inherits the caller's descriptors and environment, but none of the library's own descriptors
 * but its streams' (log file, kernel log): the exec closes the others. Its signals are none of the
 * caller's: nothing is blocked and everything has its default action. Until its exec it borrows the
 * caller's memory. Nothing reaps it unless the caller does.
 * @param environment "NAME=value" entries that replace those of the inherited environment
 * @throws Error with the errno when no process can be had; a program that cannot be run, for want
 * of memory or of the file, is a child that ends with 127
 */
pid_t StartChild(const std::vector<std::string>& arguments,
                 const std::vector<std::string>& environment = {});

/**
 * Starts a program and waits for its end, without a time-out.
 * @return the status as waitpid() gives it; 127 as its exit code when the program cannot be run
 * @throws Error with the errno of a failed fork or wait
 */
int RunAndWait(const std::vector<std::string>& arguments);

/**
 * Starts a child that runs a program over and over, a new one as soon as the last one has ended.
 * The child keeps none of the library's descriptors but its streams', no handler, ignored or
 * blocked signal of the caller's, and no memory of the display, which is not for children
 * (MADV_DONTFORK in LCD.cpp). Everything else in the caller's memory it has as a copy.
 * @return the process id of that child
 * @throws Error with the errno of a failed fork
 */
pid_t StartSupervised(const std::vector<std::string>& arguments);

} // namespace vantorel
