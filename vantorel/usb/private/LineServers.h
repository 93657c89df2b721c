#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include <sys/types.h>

namespace vantorel {

/**
 * What a serial function has started on its lines. The kernel removes a line only when nobody has
 * it open, and makes the caller wait for that so that no signal reaches it: a shell that came back
 * after the cable was pulled would hold the application for ever.
 *
 * Thread-safe.
 */
class LineServers {
public:
    /** From now on servers may be started. */
    void Allow();

    /**
     * Starts a server, unless the line is being removed.
     * @param start answers the process id of its child
     * @throws what start throws
     */
    void Start(const std::string& line, const std::function<pid_t()>& start);

    /** Ends the servers and whoever else has their lines open. No further one is started. */
    void End();

private:
    struct Server {
        std::string line;
        pid_t pid;
    };

    std::mutex mutex;
    std::vector<Server> servers;
    bool allowed = true;
};

} // namespace vantorel
