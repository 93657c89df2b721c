// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "tests/faults/Streams.h"
#include "tests/support/ScriptedSys.h"
#include "vantorel/service/private/SysFunctions.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <limits>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>

namespace vantorel::test {

#define VANTOREL_COUNT_CALL(result, name, target, parameters, arguments) +1
inline constexpr std::size_t callCount = VANTOREL_SYSTEM_CALLS(VANTOREL_COUNT_CALL);
#undef VANTOREL_COUNT_CALL

/**
 * Errors injected into every call, whether or not its manual page names them; they include those of
 * drivers whose device is busy, slow or gone. The first ones are those that the library
 * distinguishes and the most common ones: slow builds inject only these.
 */
inline constexpr int errors[] = {
    EIO,       EINTR,      ENXIO,        EPERM,     ENOENT,    EAGAIN,       ENOMEM,
    EACCES,    EBUSY,      EEXIST,       ENODEV,    EINVAL,    ENOSPC,       ENOSYS,
    ETIMEDOUT, EBADF,      EDQUOT,       EFAULT,    EFBIG,     EISDIR,       ELOOP,
    EMFILE,    ENFILE,     ENAMETOOLONG, ENOTDIR,   EROFS,     ETXTBSY,      ENOTTY,
    ENOTBLK,   EOPNOTSUPP, EOVERFLOW,    ESHUTDOWN, EPIPE,     EDESTADDRREQ, ESPIPE,
    EREMOTEIO, ENOEXEC,    E2BIG,        EMLINK,    ENOTEMPTY, ECHILD,       ESRCH};

/** In the place of an error: the call transfers fewer bytes. */
enum Cut { cutToNothing = -1, cutToOneByte = -2, cutByOneByte = -3 };
inline constexpr std::string_view transfers[] = {
    "Read", "Write", "Sendfile", "Readlink", "Klogctl", "StreamWrite", "StreamWritev"};

/** The size of a transfer after the cut; 0 is no cut. */
template <typename Size>
Size Shorten(Size size, int cut) {
    return cut == cutToNothing               ? Size{0}
           : cut == cutToOneByte             ? std::min(size, Size{1})
           : cut == cutByOneByte && size > 0 ? size - 1
                                             : size;
}

/** One recorded call. */
struct MadeCall {
    std::string_view call;
    std::string where; // the step of the scenario
    int index;         // within the step
    bool operator==(const MadeCall&) const = default;
};

/**
 * A kernel that grants every request, counts the resources that are not released, and fails one
 * call, the nth since Arm(), or cuts its transfer. Descriptors are real. If that call is given and
 * another one is the nth, none fails: the other one's failure might end the process.
 */
class Faults {
public:
    static constexpr std::size_t none = std::numeric_limits<std::size_t>::max();

    Faults(std::size_t failingCall, int withError, std::optional<MadeCall> thisCall = {})
        : failing(failingCall), error(withError), expected(std::move(thisCall)) {
        Script();
    }

    ~Faults() { streamFault = nullptr; }

    Faults(const Faults&) = delete;
    Faults& operator=(const Faults&) = delete;

    /** Whether the call that was to fail was made. */
    bool HasStruck() const { return struck; }

    /** Starts counting calls. Call it after all other hooks are set. */
    void Arm(bool ofAllThreads = true) {
        allThreads = ofAllThreads;
        CutTransfers();
        streamFault = [this](std::string_view call) {
            const int fault = Strikes(call) ? error : 0;
            wasCut = wasCut || fault < 0;
            return fault;
        };
#define VANTOREL_WRAP_CALL(result, name, target, parameters, arguments)                            \
    sys->name = [this, hooked = sys->name] parameters -> result {                                  \
        constexpr std::string_view call = #name;                                                   \
        if (Strikes(call) && (cutting = error) >= 0) {                                             \
            if constexpr (call == "Close" || call == "Munmap") {                                   \
                static_cast<void>(hooked ? hooked arguments : target arguments);                   \
            }                                                                                      \
            errno = error;                                                                         \
            return Failed<result>(call == "Spawn");                                                \
        }                                                                                          \
        return hooked ? hooked arguments : target arguments;                                       \
    };
        VANTOREL_SYSTEM_CALLS(VANTOREL_WRAP_CALL)
#undef VANTOREL_WRAP_CALL
    }

    /** Names the next step. */
    void At(const std::string& step) {
        const std::lock_guard lock(mutex);
        where = step;
        index = 0;
    }

    /** The resources that the library has not released: children, mounts and descriptors. */
    int Kept() const {
        return static_cast<int>(children.size() + mounted.size()) + CountDescriptors() -
               descriptors;
    }

    /** Waits for a child where the library leaves this to its caller. */
    void Reap(pid_t child) {
        children.erase(child);
    }

    ScopedSys sys;
    std::vector<MadeCall> made;
    bool wasCut = false;
    std::optional<int> reported; // to an observer instead of an exception
    std::function<void()> onFork = [] {};

private:
    template <typename Result>
    Result Failed(bool answersErrno) const {
        if constexpr (std::is_pointer_v<Result>) {
            return MAP_FAILED;
        } else if constexpr (!std::is_void_v<Result>) {
            return answersErrno ? static_cast<Result>(error) : Result{-1};
        }
    }

    /** Passes a transfer on, cut when its call strikes. A file then stays where the cut is. */
    template <typename Hook, typename Target, typename Call>
    void CutTransfer(Hook& hook, Target target, Call call) {
        hook = [this, hooked = hook, target, call](auto... arguments) {
            const int cut = std::exchange(cutting, 0);
            wasCut = wasCut || cut < 0;
            const auto shorten = [cut](auto size) { return Shorten(size, cut); };
            if (!hooked) {
                return call(target, shorten, arguments...);
            }
            const auto count = hooked(arguments...);
            return std::min(count, shorten(count));
        };
    }

    void CutTransfers() {
        const auto last = [](auto target, auto shorten, auto first, auto second, auto size) {
            return target(first, second, shorten(size));
        };
        CutTransfer(sys->Read, ::read, last);
        CutTransfer(sys->Write, ::write, last);
        CutTransfer(sys->Readlink, ::readlink, last);
        CutTransfer(sys->Klogctl, ::klogctl, last);
        CutTransfer(sys->Sendfile, ::sendfile,
                    [](auto target, auto shorten, int to, int from, off_t* at, std::size_t size) {
                        return target(to, from, at, shorten(size));
                    });
    }

    static int CountDescriptors() {
        int count = 0;
        for (int fd = 0; fd < 64; ++fd) {
            count += ::fcntl(fd, F_GETFD) != -1 ? 1 : 0;
        }
        return count;
    }

    bool Strikes(std::string_view call) {
        const std::lock_guard lock(mutex);
        if (!allThreads && std::this_thread::get_id() != owner) {
            return false;
        }
        made.push_back({call, where, index++});
        const bool strikes = made.size() - 1 == failing && (!expected || made.back() == *expected);
        struck = struck || strikes;
        return strikes;
    }

    void Script() {
        sys->Open = [](const char* path, int flags, unsigned mode) {
            const std::string_view name(path);
            const bool isFile = name.starts_with("/files/") || name.starts_with("/proc/") ||
                                name.starts_with("/etc/") || name.ends_with("/bqfs") ||
                                name == "/proc" || name == "/tmp/update/";
            return ::open(isFile ? path : "/dev/null", flags, mode);
        };
        const auto succeed = [](auto...) { return 0; };
        sys->Mkdir = succeed;
        sys->Rmdir = succeed;
        sys->Unlink = succeed;
        sys->Rename = succeed;
        sys->Lstat = [](const char*, struct stat* status) {
            *status = {};
            return status->st_mode = S_IFREG | 0644, 0;
        };
        sys->Access = succeed;
        sys->Ftruncate = succeed;
        sys->Kill = succeed;
        sys->Sync = succeed;
        sys->Fsync = succeed;
        sys->Fchmod = succeed; // of the machine's /dev/null otherwise
        sys->Reboot = succeed;
        sys->Nanosleep = succeed;
        sys->Klogctl = [](auto...) { return 4; };
        sys->Poll = [](pollfd* waits, auto...) { return waits->revents = POLLIN, 1; };
        sys->Mount = [this](const char*, const char* target, auto...) {
            return mounted.insert(target), 0;
        };
        sys->Umount = [this](const char* target) {
            return mounted.erase(target) == 1 ? 0 : FailWith(EINVAL);
        };
        const auto fork = [this] {
            onFork();
            return *children.insert(++lastChild).first;
        };
        sys->Fork = fork;
        sys->Spawn = [fork](pid_t* child, auto...) { return *child = fork(), 0; };
        sys->Waitpid = [this](pid_t child, int* status, int) {
            if (status != nullptr) {
                *status = 0;
            }
            return children.erase(child) == 1 ? child : FailWith(ECHILD);
        };
    }

    inline static thread_local int cutting = 0;
    const std::size_t failing;
    const int error;
    const std::optional<MadeCall> expected;
    bool struck = false;
    const int descriptors = CountDescriptors();
    const std::thread::id owner = std::this_thread::get_id();
    bool allThreads = true;
    std::mutex mutex;
    std::string where;
    int index = 0;
    std::set<std::string> mounted;
    std::set<pid_t> children;
    pid_t lastChild = 4242;
};

/** A series of library operations. */
struct Scenario {
    const char* name;
    void (*play)(Faults&);
    int kept = 0; // Kept() after a run without failures
};

std::span<const Scenario> Scenarios();

} // namespace vantorel::test
