#include "Message.h"

#include <algorithm>
#include <cstdio>

namespace kirosim {

void Message(std::string text) {
    // Whatever came through the control pipe must not reprogram the reader's terminal.
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    std::fprintf(stderr, "camera simulator: %s\n", text.c_str());
}

} // namespace kirosim
