#include "vantorel/usb/private/LineServers.h"

#include "vantorel/service/private/Sleep.h"
#include "vantorel/service/private/Sys.h"
#include "vantorel/system/Tools.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <unistd.h>

namespace vantorel {
namespace {

// A killed process closes its files a moment later, and may have had a child meanwhile, which may
// not have opened the line yet: only the second round in a row that finds nobody is the last.
constexpr std::chrono::milliseconds endingTime{10};
constexpr int rounds = 100;
constexpr int emptyRounds = 2;

/** Kills every other process that has the line open; false when there was none. */
bool KillUsers(const std::string& line) {
    bool found = false;
    std::error_code ignored; // processes come and go
    std::filesystem::directory_iterator entries("/proc", ignored);
    for (; entries != end(entries); entries.increment(ignored)) {
        const pid_t pid = std::atoi(entries->path().filename().c_str());
        if (pid > 0 && pid != ::getpid() && Tools::GetFd(pid, line) != -1) {
            found = true;
            sys::Kill(pid, SIGKILL);
        }
    }
    return found;
}

} // namespace

void LineServers::Allow() {
    const std::lock_guard lock(mutex);
    allowed = true;
}

void LineServers::Start(const std::string& line, const std::function<pid_t()>& start) {
    const std::lock_guard lock(mutex);
    if (allowed) {
        servers.push_back({line, start()});
    }
}

void LineServers::End() {
    const std::lock_guard lock(mutex);
    allowed = false;
    for (const Server& server : servers) {
        // First the one that would start a shell anew.
        sys::Kill(server.pid, SIGKILL);
        sys::Waitpid(server.pid, nullptr, 0);
        int empty = 0;
        for (int round = 0; round < rounds && empty < emptyRounds; ++round) {
            empty = KillUsers(server.line) ? 0 : empty + 1;
            SleepFor(endingTime);
        }
    }
    servers.clear();
}

} // namespace vantorel
