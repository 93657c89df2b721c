// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <string>

namespace vantorel::logtool {

/**
 * Runs a program in gnuplot, found by PATH, and writes its output to a file, which appears only
 * after everything has succeeded.
 * @throws std::runtime_error with a message for the user
 */
void RunGnuplot(const std::string& script, const std::string& outFile);

} // namespace vantorel::logtool
