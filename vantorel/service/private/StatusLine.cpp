// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/service/private/StatusLine.h"

#include "vantorel/service/Mutex.h"

#include <iostream>

namespace vantorel {

void WriteStatusLine(const std::string& text) {
    static Mutex mutex;
    const std::string line = text + '\n';
    const Lock lock(mutex);
    // Write the whole line at once, so that the reader of a pipe receives whole lines.
    std::cout.write(line.data(), static_cast<std::streamsize>(line.size())).flush();
    if (std::cout.bad()) { // one failed line must not suppress the lines after it
        std::cout.clear();
    }
}

} // namespace vantorel
