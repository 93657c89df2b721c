// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "host/Arguments.h"
#include "host/Transport.h"

#include <ostream>

namespace vantorel::host {

/** Runs a command and reports its errors. */
ExitCode RunCommand(const Arguments& arguments, Bus& bus, std::ostream& out, std::ostream& err);

/** The whole program except its bus: parses, selects the device, runs the command, reports errors.
 */
ExitCode RunTool(int count, const char* const* values, Bus& bus, std::ostream& out,
                 std::ostream& err);

} // namespace vantorel::host
