#pragma once

#include <string>

namespace vantorel::logtool {

/**
 * Has gnuplot, found by PATH, carry out a program and puts what it prints into a file, which
 * appears only when everything has worked.
 * @throws std::runtime_error with a text for the user
 */
void RunGnuplot(const std::string& script, const std::string& outFile);

} // namespace vantorel::logtool
