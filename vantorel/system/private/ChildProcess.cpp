// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/system/private/ChildProcess.h"

#include "vantorel/service/Error.h"
#include "vantorel/service/private/OrThrow.h"
#include "vantorel/service/private/Sys.h"

#include <algorithm>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vantorel {
namespace {

// A shell exits with this code when it cannot find a command.
constexpr int cannotRun = 127;

// A supervisor keeps the descriptors from this number on. The process's limit may be a million, and
// each check is a system call.
constexpr int descriptorCap = 4096;

/**
 * Lists of texts in the form that exec requires. Build them before the fork: the process has many
 * threads, and in the child the allocator's lock may stay locked forever by a thread that does not
 * exist there.
 */
class ExecList {
public:
    explicit ExecList(const std::vector<std::string>& texts) {
        for (const std::string& text : texts) {
            // The parameters of exec are not const for historical reasons; it changes nothing.
            pointers.push_back(const_cast<char*>(text.c_str()));
        }
        pointers.push_back(nullptr);
    }
    char* const* Get() const { return pointers.data(); }

private:
    std::vector<char*> pointers;
};

std::string NameOf(const std::string& entry) {
    return entry.substr(0, entry.find('=') + 1);
}

std::vector<std::string> Inherited(const std::vector<std::string>& replacements) {
    std::vector<std::string> entries(replacements);
    for (char** entry = ::environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string text(*entry);
        if (std::ranges::none_of(replacements, [&](const std::string& replacement) {
                return NameOf(replacement) == NameOf(text);
            })) {
            entries.push_back(text);
        }
    }
    return entries;
}

/**
 * Children must not inherit the application's signal settings. An application that waits for
 * signals blocks them in all its threads, and a blocked signal stays blocked across an exec: an
 * init script could not stop a server that was started like this. An ignored signal also stays
 * ignored across an exec: Ctrl-C would do nothing in such a shell. A supervisor, which never
 * execs, would even keep the handlers.
 */
void ResetSignals() {
    for (int signal = 1; signal < NSIG; ++signal) {
        ::signal(signal, SIG_DFL);
    }
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

/** Does the same as ResetSignals() for a spawned child. */
class SpawnAttributes {
public:
    SpawnAttributes() {
        ::posix_spawnattr_init(&attributes);
        sigset_t signals;
        ::sigfillset(&signals);
        ::posix_spawnattr_setsigdefault(&attributes, &signals);
        ::sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&attributes, &signals);
        ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    }
    ~SpawnAttributes() { ::posix_spawnattr_destroy(&attributes); }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    const posix_spawnattr_t* Get() const { return &attributes; }

private:
    posix_spawnattr_t attributes{};
};

/** Closes what an exec would close: a supervisor never execs and would keep these descriptors. */
void CloseAsAnExecWould() {
    for (int fd = 3; fd < descriptorCap; ++fd) {
        const int flags = ::fcntl(fd, F_GETFD);
        if (flags != -1 && (flags & FD_CLOEXEC) != 0) {
            ::close(fd);
        }
    }
}

/** Runs in a forked child of a process with threads, so it may only make system calls. */
[[noreturn]] void Supervise(char* const* arguments) {
    ResetSignals();
    CloseAsAnExecWould();
    while (true) {
        const pid_t child = ::_Fork();
        if (child == 0) {
            ::execv(arguments[0], arguments);
            ::_exit(cannotRun);
        }
        if (child > 0) {
            ::waitpid(child, nullptr, 0);
        }
    }
}

} // namespace

std::vector<std::string> Applet(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "/bin/busybox");
    return arguments;
}

pid_t StartChild(const std::vector<std::string>& arguments,
                 const std::vector<std::string>& environment) {
    const std::vector<std::string> entries = Inherited(environment);
    const ExecList argumentList(arguments);
    const ExecList environmentList(entries);
    pid_t child = 0;
    // The child borrows this process's memory until its exec. A fork would first copy all its page
    // tables, and each thread's next write to each page would cause a page fault.
    const int error = sys::Spawn(&child, argumentList.Get()[0], nullptr, SpawnAttributes().Get(),
                                 argumentList.Get(), environmentList.Get());
    if (error == 0) {
        return child;
    }
    // If no process can be created, the fork fails as well. If the program cannot be run, or the
    // kernel has no memory for it, the caller needs a child that exits with 127.
    child = OrThrow(sys::Fork());
    if (child == 0) {
        ResetSignals();
        ::execve(argumentList.Get()[0], argumentList.Get(), environmentList.Get());
        ::_exit(cannotRun);
    }
    return child;
}

int RunAndWait(const std::vector<std::string>& arguments) {
    const pid_t child = StartChild(arguments);
    int status = 0;
    OrThrow(sys::Waitpid(child, &status, 0));
    return status;
}

pid_t StartSupervised(const std::vector<std::string>& arguments) {
    const ExecList argumentList(arguments);
    const pid_t child = OrThrow(sys::Fork());
    if (child == 0) {
        Supervise(argumentList.Get());
    }
    return child;
}

} // namespace vantorel
