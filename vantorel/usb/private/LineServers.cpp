// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/usb/private/LineServers.h"

#include "vantorel/service/private/Sys.h"
#include "vantorel/usb/private/FreeLine.h"

#include <csignal>

namespace vantorel {

void LineServers::Allow() {
    const Lock lock(mutex);
    allowed = true;
}

void LineServers::Start(const std::string& line, const std::function<pid_t()>& start) {
    const Lock lock(mutex);
    if (allowed) {
        taken.push_back({line, start ? start() : 0});
    }
}

void LineServers::End(const std::string& kernelLine) {
    const Lock lock(mutex);
    allowed = false;
    for (const Taken& one : taken) {
        if (one.server > 0) {
            // Kill the server first: it may be a supervisor that would restart its shell.
            sys::Kill(one.server, SIGKILL);
            sys::Waitpid(one.server, nullptr, 0);
        }
    }
    for (const Taken& one : taken) {
        if (kernelLine.empty()) {
            FreeLine(one.line);
        } else if (one.server > 0 && one.line != kernelLine) {
            // Another function has this line: kill its users but keep the line.
            EndUsersOf(one.line);
        }
    }
    taken.clear();
    if (!kernelLine.empty()) {
        FreeLine(kernelLine);
    }
}

} // namespace vantorel
