// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "tests/support/PrivateMounts.h"
#include "vantorel/service/UniqueFd.h"

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vantorel::test {

inline std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void WriteFile(const std::string& path, const std::string& content) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

/** Lets the kernel copy, since streams take seconds on the device. Repeats an interrupted copy. */
inline void CopyProgram(const std::string& from, const std::string& to) {
    std::error_code error;
    do {
        std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing,
                                   error);
    } while (error == std::errc::interrupted);
    Must(error ? -1 : 0);
}

/** Creates a FIFO on which a fake program can wait. */
inline void MakeFifo(const std::string& path) {
    Must(::mkfifo(path.c_str(), 0600));
}

/** A wait of this length counts as a hang; no wait on a busy machine is that long. */
constexpr unsigned hangSeconds = 300;

/** Waits for the action of another thread or process; returns false if it does not happen. */
template <typename Condition>
bool Eventually(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(hangSeconds);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

/**
 * Moves the process into a private root directory, where scripts that record their calls replace
 * the device's programs. Only libraries, /dev and /proc come from the machine. The test must call
 * VANTOREL_NEED_PRIVATE_MOUNTS() first. The destructor moves the process back and unmounts the
 * root, because its files use memory, of which the device has little.
 */
class PrivateRoot {
public:
    PrivateRoot() : outside(::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC)) {
        CoverWithTmpfs("/tmp");
        for (const char* directory : {"/lib", "/lib64", "/usr/lib", "/dev", "/proc"}) {
            if (std::filesystem::exists(directory)) {
                const std::string inside = std::string("/tmp") + directory;
                std::filesystem::create_directories(inside);
                Must(::mount(directory, inside.c_str(), nullptr, MS_BIND | MS_REC, nullptr));
            }
        }
        for (const char* directory : {"bin", "sbin", "usr/bin", "etc", "tmp", "calls"}) {
            std::filesystem::create_directories(std::string("/tmp/") + directory);
        }
        for (const char* tool : {"/bin/sh", "/bin/ln", "/bin/cat", "/bin/mkdir"}) {
            CopyProgram(tool, std::string("/tmp") + tool);
        }
        CopyProgram(deviceTar, "/tmp/bin/tar");
        Must(::chroot("/tmp"));
        Must(::chdir("/"));
        for (const char* program :
             {"/bin/busybox", "/sbin/modprobe", "/usr/bin/fw_setenv", "/usr/bin/gdbserver"}) {
            WriteProgram(program, script);
        }
    }
    PrivateRoot(const PrivateRoot&) = delete;
    PrivateRoot& operator=(const PrivateRoot&) = delete;
    ~PrivateRoot() {
        EXPECT_EQ(::fchdir(outside.Get()), 0);
        EXPECT_EQ(::chroot("."), 0);
        EXPECT_EQ(::umount2("/tmp", MNT_DETACH), 0);
    }

    /** Sets shell commands that the fake programs run after they record their call. */
    void Behave(const std::string& commands) const { WriteFile("/behaviour", commands); }

    /** Returns the calls in the order of their start, such as "/sbin/modprobe|loop". */
    std::vector<std::string> Calls() const {
        std::map<pid_t, std::string> calls;
        for (const auto& entry : std::filesystem::directory_iterator("/calls")) {
            const pid_t caller = std::stoi(entry.path().filename());
            calls[caller < first ? caller + mostProcesses : caller] = ReadFile(entry.path());
        }
        std::vector<std::string> texts;
        texts.reserve(calls.size());
        for (const auto& [number, text] : calls) {
            texts.push_back(text);
        }
        return texts;
    }

private:
    UniqueFd outside; // the root directory to return to
    pid_t first = NextProcess();

    /** Uses up the next process ID. */
    static pid_t NextProcess() {
        const pid_t child = ::fork();
        if (child == 0) {
            ::_exit(0);
        }
        while (::waitpid(child, nullptr, 0) == -1 && errno == EINTR) {
        }
        return child;
    }

    static void WriteProgram(const std::string& path, const std::string& content) {
        WriteFile(path, content);
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    }

#if defined(__arm__)
    static constexpr const char* deviceTar = "/bin/tar";
#else
    static constexpr const char* deviceTar = "/bin/busybox"; // unpacks when it is called as tar
#endif

    // Process IDs increase, so they order even programs that run at the same time. After the
    // highest one, they start again from the lowest.
    static constexpr pid_t mostProcesses = 1 << 22;
    static constexpr const char* script = R"(#!/bin/sh
line=$0
for argument; do line="$line|$argument"; done
printf %s "$line" >/calls/$$
if [ -f /behaviour ]; then . /behaviour; fi
)";
};

} // namespace vantorel::test
