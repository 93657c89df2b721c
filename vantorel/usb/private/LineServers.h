#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include <sys/types.h>

namespace vantorel {

/**
 * The lines that a serial function's workers have taken, and what was started on them. The kernel
 * removes a line only when nobody has it open: a shell that came back after the cable was pulled
 * would hold the application for ever.
 *
 * Thread-safe.
 */
class LineServers {
public:
    /** From now on servers may be started. */
    void Allow();

    /**
     * Takes a line and starts a server on it, unless the function is being removed.
     * @param start answers the process id of its child; empty for a line without a server
     * @throws what start throws
     */
    void Start(const std::string& line, const std::function<pid_t()>& start);

    /**
     * Ends the servers and whoever else has the function's line open. No further one is started.
     * @param kernelLine the function's line; empty when the kernel does not tell it, then the lines
     *                   that were taken stand for it
     * @throws Error with EBUSY when a line stays open, see FreeLine()
     */
    void End(const std::string& kernelLine);

private:
    struct Taken {
        std::string line;
        pid_t server; // 0 for none
    };

    std::mutex mutex;
    std::vector<Taken> taken;
    bool allowed = true;
};

} // namespace vantorel
