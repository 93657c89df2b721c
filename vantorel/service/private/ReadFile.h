// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <string>

namespace vantorel {

/**
 * Returns the whole content of a file.
 * @throws Error with the errno of the open or of the read that failed
 */
std::string ReadFile(const std::string& path);

/** Returns the content up to the first failed read; empty when the file cannot be opened. */
std::string ReadFileIfPossible(const std::string& path);

} // namespace vantorel
