// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/usb/private/FreeLine.h"

#include "vantorel/service/Error.h"
#include "vantorel/service/private/ListFolder.h"
#include "vantorel/service/private/ReadFile.h"
#include "vantorel/service/private/Sleep.h"
#include "vantorel/service/private/Sys.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace vantorel {
namespace {

// A killed process closes its files a moment later, and before it ended it may have started a
// child that has not opened the line yet. So only two empty rounds in a row end the search.
constexpr std::chrono::milliseconds endingTime{10};
constexpr int rounds = 500;
constexpr int emptyRounds = 2;

/**
 * Whether two records describe the same line, or the same file when the line is a regular file.
 */
bool IsSame(const struct stat& a, const struct stat& b) {
    return S_ISCHR(a.st_mode) ? S_ISCHR(b.st_mode) && a.st_rdev == b.st_rdev
                              : a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

/** The number of a process's controlling terminal; 0 when it has none. */
dev_t ControllingTerminal(const std::string& process) {
    const std::string text = ReadFileIfPossible(process + "/stat");
    // The fields follow the last parenthesis: the program's name before it may contain any
    // character.
    std::istringstream fields(text.substr(text.rfind(')') + 1));
    std::string skipped;
    unsigned number = 0;
    fields >> skipped >> skipped >> skipped >> skipped >> number;
    return ::makedev((number >> 8) & 0xfffU, (number & 0xffU) | ((number >> 12) & 0xfff00U));
}

/**
 * Whether a process has the line open, also through "/dev/tty", its controlling terminal. For a
 * process that this one may not inspect, the controlling terminal alone decides.
 */
bool Uses(const std::string& process, const struct stat& line) {
    const dev_t byTerminal = ::makedev(5, 0); // "/dev/tty"
    const bool isTerminal = S_ISCHR(line.st_mode) && ControllingTerminal(process) == line.st_rdev;
    const std::string folder = process + "/fd";
    const Listing files = ListFolder(folder);
    bool hidden = files.error != 0 && files.error != ENOENT; // ENOENT: the process has ended
    for (const std::string& name : files.names) {
        struct stat file {};
        if (sys::Stat(PathOf(folder, name).c_str(), &file) != 0) {
            hidden = hidden || errno == EACCES;
        } else if (IsSame(line, file) ||
                   (isTerminal && S_ISCHR(file.st_mode) && file.st_rdev == byTerminal)) {
            return true;
        }
    }
    return hidden && isTerminal;
}

/** The processes that use the line, including this one; no value if they cannot be listed. */
std::optional<std::vector<pid_t>> UsersOf(const struct stat& line) {
    const Listing processes = ListFolder("/proc");
    if (processes.error != 0) {
        return {};
    }
    std::vector<pid_t> users;
    for (const std::string& name : processes.names) {
        const pid_t pid = std::atoi(name.c_str());
        if (pid > 0 && Uses(PathOf("/proc", name), line)) {
            users.push_back(pid);
        }
    }
    return users;
}

/** Kills the line's users until none is left; returns false when some remain. */
bool EndUsersOf(const struct stat& line) {
    int empty = 0;
    for (int round = 0; round < rounds && empty < emptyRounds; ++round) {
        // Find all users before killing the first: when a session's leader ends, its other
        // processes lose their controlling terminal, but keep the files that they opened by that
        // name.
        const std::optional<std::vector<pid_t>> users = UsersOf(line);
        for (const pid_t user : users.value_or(std::vector<pid_t>())) {
            if (user != ::getpid()) {
                sys::Kill(user, SIGKILL);
            }
        }
        empty = users && users->empty() ? empty + 1 : 0;
        SleepFor(endingTime);
    }
    return empty == emptyRounds;
}

} // namespace

void EndUsersOf(const std::string& line) {
    struct stat node {};
    if (sys::Stat(line.c_str(), &node) == 0) {
        static_cast<void>(EndUsersOf(node));
    }
}

void FreeLine(const std::string& line) {
    struct stat node {};
    if (sys::Stat(line.c_str(), &node) != 0) {
        return;
    }
    // A supervisor may restart each killed user.
    const std::string hidden = line + ".removed";
    sys::Rename(line.c_str(), hidden.c_str());
    if (!EndUsersOf(node)) {
        sys::Rename(hidden.c_str(), line.c_str());
        throw Error(EBUSY);
    }
    sys::Unlink(hidden.c_str());
}

} // namespace vantorel
