// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <ostream>

namespace vantorel::logtool {

/** Exit statuses; documented in the manual page. */
enum ExitCode {
    exitSuccess = 0,
    exitProblems = 1, ///< check found something, or the file is not a log
    exitUsage = 2,    ///< wrong arguments
    exitInput = 3,    ///< the log cannot be read
    exitOutput = 4,   ///< the result cannot be written, or gnuplot is missing or failed
};

/** The whole program except its standard streams. */
ExitCode RunTool(int count, const char* const* values, std::ostream& out, std::ostream& err);

} // namespace vantorel::logtool
