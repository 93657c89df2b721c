#include "vantorel/service/private/StatusLine.h"

#include <iostream>
#include <mutex>

namespace vantorel {

void WriteStatusLine(const std::string& text) {
    static std::mutex mutex;
    const std::string line = text + '\n';
    const std::lock_guard lock(mutex);
    // One write for the whole line: whoever reads the other end of a pipe sees lines, not pieces.
    std::cout.write(line.data(), static_cast<std::streamsize>(line.size())).flush();
    if (std::cout.bad()) { // a line that could not be written must not silence all that follow
        std::cout.clear();
    }
}

} // namespace vantorel
