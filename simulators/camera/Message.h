// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <string>

namespace kirosim {

/** Prints one line on stderr; a character that is not printable becomes '?'. */
void Message(std::string text);

} // namespace kirosim
