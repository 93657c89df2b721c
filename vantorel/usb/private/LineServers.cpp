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
        claims.push_back({line, start ? start() : 0});
    }
}

void LineServers::End(const std::string& kernelLine) {
    const Lock lock(mutex);
    allowed = false;
    for (const Claim& claim : claims) {
        if (claim.server > 0) {
            // Kill the server first: it may be a supervisor that would restart its shell.
            sys::Kill(claim.server, SIGKILL);
            sys::Waitpid(claim.server, nullptr, 0);
        }
    }
    for (const Claim& claim : claims) {
        if (kernelLine.empty()) {
            FreeLine(claim.line);
        } else if (claim.server > 0 && claim.line != kernelLine) {
            // Another function has this line: kill its users but keep the line.
            EndUsersOf(claim.line);
        }
    }
    claims.clear();
    if (!kernelLine.empty()) {
        FreeLine(kernelLine);
    }
}

} // namespace vantorel
