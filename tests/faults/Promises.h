#pragma once

#include "tests/faults/Faults.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel::test {

enum class Outcome {
    Thrown, // an Error with the errno leaves the operation, or reaches its observers
    Silent, // nobody hears of it
    Ends,   // the process ends
};

/** What comes of a failure where it is not an Error with its errno and nothing left behind. */
struct Promise {
    std::string_view where; // the step of the scenario, any when empty
    std::string_view call;  // any when empty
    Outcome outcome = Outcome::Thrown;
    const char* reason = "";
    std::vector<int> errors = {}; // any when empty
    int from = 0;                 // index of the call within the step
    int to = std::numeric_limits<int>::max();
    int keeps = 0;   // how much is left behind
    int becomes = 0; // another error, for the observers
    bool used = false;
};

inline std::vector<Promise>& Promises() {
    constexpr auto thrown = Outcome::Thrown;
    constexpr auto silent = Outcome::Silent;
    constexpr auto ends = Outcome::Ends;
    constexpr int last = std::numeric_limits<int>::max();
    std::vector<int> notStarted;
    std::ranges::copy_if(errors, std::back_inserter(notStarted), [](int error) {
        return error != EAGAIN && error != ENOMEM && error != ENOSYS;
    });
    static std::vector<Promise> table = {
        {"", "Sync", silent, "it cannot fail"},
        {"", "Close", silent, "whatever close() says, the descriptor is closed"},
        {"", "Munmap", silent, "nothing can be done about it"},
        {"", "Madvise", silent, "the picture shows without it"},
        {"", "Lseek", silent, "where rewinding is impossible, reading tells"},
        {"", "Nanosleep", silent, "a pause goes on after EINTR and is left out otherwise"},
        {"", "Mkdir", silent, "the directory is there", {EEXIST}},
        {"", "Spawn", silent, "a child ends with 127 instead", notStarted},
        {"", "Kill", silent, "the process is gone"},
        {"", "Readlink", silent, "the process is gone"},
        {"", "Reboot", silent, "the device stays on, and its user tries again"},
        {"", "Access", silent, "a file that cannot be seen is not there"},
        {"display", "Ioctl", silent, "the first opener is master anyway", {}, 1, 1},
        {"showing", "Ioctl", silent, "the picture is drawn again", {EINTR, ETIMEDOUT}},
        {"showing", "Poll", silent, "the next picture waits for both", {EINTR, ETIMEDOUT}},
        {"showing", "Read", silent, "what the event says is not looked at"},
        {"closing", "Ioctl", silent, "closing the card does it, too"},
        {"button", "Poll", silent, "the button is waited for again", {EINTR, ETIMEDOUT}},
        {"button", "Read", silent, "the button waits for the next event"},
        {"gauge reading", "", silent, "a gauge that does not answer reads 0", {ENXIO}},
        {"gauge battery", "", silent, "it is looked for in ROM mode next", {ENXIO}, 0, 0},
        {"gauge reset", "Ioctl", silent, "it may be gone before it answers", {ENXIO}, 6},
        {"gauge stream", "Read", silent, "reading goes on", {EINTR}},
        {"gauge update", "Read", silent, "reading goes on", {EINTR}},
        {"gauge update", "", silent, "an interrupted update has left it in ROM mode", {}, 0, 9},
        {"tools", "Umount", thrown, "what the tools have done stays", {}, 0, last, 1},
        {"tools", "Mount", thrown, "what the tools have done stays", {}, 10, last, 1},
        {"remounting", "Mount", ends, "what is not mounted cannot be unmounted at the end"},
        {"looking", "Mount", ends, "what is not mounted cannot be unmounted at the end"},
        {"unmounting", "", ends, "the mount would outlive its owner"},
        {"disk", "Umount", ends, "the mount would outlive its owner"},
        {"disk", "Rmdir", ends, "the mount would outlive its owner"},
        {"disk", "Open", silent, "a drive without the licence works, too", {}, 22, 23},
        {"looking", "Open", silent, "what was not copied is not unpacked"},
        {"", "Sendfile", silent, "a copy reports nothing"},
        {"disk", "Ftruncate", thrown, "the device cannot start", {}, 0, last, 1},
        {"adding", "", ends, "half a port is of no use to a host"},
        {"binding", "", silent, "the line has no server, or the port no network"},
        {"unbinding", "", ends, "the servers would stay on the network"},
        {"removing", "Waitpid", silent, "the server is gone"},
        {"removing", "Write", silent, "the counter that it raises is never full"},
        {"removing", "", ends, "half a port is of no use to a host"},
        {"coming up", "Open", silent, "the port works without the vendor function"},
        {"coming up", "Write", silent, "the port works without the vendor function"},
        {"coming up", "Spawn", thrown, "OnRemove() unmounts", {}, 0, last, 1},
        {"coming up", "Waitpid", thrown, "OnRemove() unmounts", {}, 0, last, 1},
        {"serving", "", silent, "the host sees a stall, or asks again"},
        {"looking", "Umount", silent, "the drive is looked at again"},
        {"unpacking", "", silent, "the archive is looked at again"},
        {"writing", "", thrown, "observers hear no reasons", {}, 0, last, 0, EBADE},
    };
    return table;
}

inline Promise PromiseOf(const MadeCall& call, int error) {
    for (Promise& promise : Promises()) {
        if ((promise.where.empty() || promise.where == call.where) &&
            (promise.call.empty() || promise.call == call.Name()) &&
            (promise.errors.empty() || std::ranges::count(promise.errors, error) != 0) &&
            promise.from <= call.index && call.index <= promise.to) {
            promise.used = true;
            return promise;
        }
    }
    return {};
}

/** Exceptions that nothing has needed. */
inline std::string UnusedPromises() {
    std::string unused;
    for (const Promise& promise : Promises()) {
        unused += promise.used ? "" : std::string(promise.where) + ": " + promise.reason + "\n";
    }
    return unused;
}

} // namespace vantorel::test
