// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "Message.h"

#include <algorithm>
#include <cstdio>

namespace kirosim {

void Message(std::string text) {
    // Text from the control pipe must not send control sequences to a terminal.
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    std::fprintf(stderr, "camera simulator: %s\n", text.c_str());
}

} // namespace kirosim
