// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Mutex.h"

#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace vantorel {

/**
 * The lines that a serial function's workers have claimed, and the servers on them. The kernel
 * removes a line only when no process has it open. A shell that restarts after the cable was
 * pulled would therefore block the application forever.
 *
 * Thread-safe.
 */
class LineServers {
public:
    /** Allows later calls of Start() to start servers. */
    void Allow() VANTOREL_EXCLUDES(mutex);

    /**
     * Claims a line and starts a server on it, unless the function is being removed.
     * @param start returns the process id of its child; empty for a line without a server
     * @throws any exception of start
     */
    void Start(const std::string& line, const std::function<pid_t()>& start)
        VANTOREL_EXCLUDES(mutex);

    /**
     * Ends the servers and all other processes that have the function's line open. Later calls of
     * Start() start nothing.
     * @param kernelLine the function's line; empty when the kernel does not report it; all claimed
     *         lines are then freed
     * @throws Error with EBUSY when a line stays open, see FreeLine()
     */
    void End(const std::string& kernelLine) VANTOREL_EXCLUDES(mutex);

private:
    struct Claim {
        std::string line;
        pid_t server; // 0 for none
    };

    Mutex mutex;
    std::vector<Claim> claims VANTOREL_GUARDED_BY(mutex);
    bool allowed VANTOREL_GUARDED_BY(mutex) = true;
};

} // namespace vantorel
