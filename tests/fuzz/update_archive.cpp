// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Passes arbitrary archives to the update manager. The real BusyBox unpacks them.
//
// The process has private mounts over the folders of an update. tar runs in a separate root
// directory, in which only the update's folder may change.
//
// An input is a byte that selects whether the headers get correct checksums, then the archive.

#include "tests/fuzz/Demand.h"
#include "tests/support/PrivateRoot.h"
#include "tests/support/ScriptedSys.h"
#include "vantorel/system/Filesystem.h"
#include "vantorel/update/FirmwareUpdateManager.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <set>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace vantorel;
using test::Demand;

const std::string root = "/tmp/var/root";
const std::string updateFolder = "/tmp/update";
const std::string archive = "/tmp/var/drive/THERMAL.STR";

/** Moves the process into its own namespaces, with private folders for an update. */
void Isolate() {
    static bool isIsolated = false;
    if (std::exchange(isIsolated, true)) {
        return;
    }
    const std::string user = std::to_string(::getuid());
    const std::string group = std::to_string(::getgid());
    Demand(::unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0);
    test::WriteFile("/proc/self/uid_map", "0 " + user + " 1");
    test::WriteFile("/proc/self/setgroups", "deny");
    test::WriteFile("/proc/self/gid_map", "0 " + group + " 1");
    for (const std::string& folder : {updateFolder, std::string("/tmp/var")}) {
        std::filesystem::create_directories(folder);
        test::CoverWithTmpfs(folder);
    }
    for (const char* folder : {"/bin", "/etc", "/tmp/update"}) {
        std::filesystem::create_directories(root + folder);
    }
    test::CopyProgram("/bin/busybox", root + "/bin/busybox");
    test::WriteFile(root + "/etc/firmware", "running");
    std::filesystem::create_directories("/tmp/var/drive");
    std::filesystem::create_directories("/tmp/var/update");
    test::Must(
        ::mount(updateFolder.c_str(), (root + updateFolder).c_str(), nullptr, MS_BIND, nullptr));
}

/** The paths outside the update's folder. */
std::set<std::string> Outside() {
    std::set<std::string> paths;
    for (std::filesystem::recursive_directory_iterator entry(root), end; entry != end; ++entry) {
        paths.insert(entry->path());
        if (entry->path() == root + updateFolder) {
            entry.disable_recursion_pending();
        }
    }
    return paths;
}

/** Sets the checksum of each header; tar rejects an archive with a wrong one. */
void CorrectChecksums(std::string& tar) {
    constexpr std::size_t block = 512;
    for (std::size_t at = 0; at + block <= tar.size();) {
        const std::size_t size = std::strtoul(tar.substr(at + 124, 12).c_str(), nullptr, 8);
        tar.replace(at + 148, 8, 8, ' ');
        unsigned sum = 0;
        for (std::size_t byte = at; byte < at + block; ++byte) {
            sum += static_cast<unsigned char>(tar[byte]);
        }
        if (sum == 8 * ' ') { // the end: a block of zeros
            tar.replace(at + 148, 8, 8, '\0');
        } else {
            char text[8];
            std::snprintf(text, sizeof text, "%06o", sum);
            tar.replace(at + 148, 7, text, 7);
        }
        at += block + std::min(tar.size(), (size + block - 1) / block * block);
    }
}

/** Unpacks as the device does. The alarm detects an archive at which tar hangs. */
pid_t Unpack(char* const* arguments) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(60);
        const int silence = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        ::dup2(silence, 1);
        ::dup2(silence, 2);
        if (::chroot(root.c_str()) == 0 && ::chdir("/") == 0) {
            ::execv("/bin/busybox", arguments);
        }
        ::_exit(126);
    }
    return child;
}

struct Witness final : FirmwareUpdateObserver {
    void OnFirmwareUpdateFileFound(FirmwareUpdateManager&) override {}
    void OnFirmwareUpdateFileValid(FirmwareUpdateManager&) override { isValid = true; }
    void OnFirmwareUpdateBegin(FirmwareUpdateManager&) override {}
    void OnFirmwareUpdateInProgress(FirmwareUpdateManager&, std::uint8_t) override {}
    void OnFirmwareUpdateComplete(FirmwareUpdateManager&) override {}
    void OnFirmwareUpdateError(FirmwareUpdateManager&, Error&) override { Demand(false); }
    bool isValid = false;
};

} // namespace

/** Runs before libFuzzer starts a second thread: then unshare() of a user namespace fails. */
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    Isolate();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Isolate();
    static const std::set<std::string> outside = Outside();
    std::cout.setstate(std::ios::badbit); // no status lines

    std::string tar(reinterpret_cast<const char*>(data), size);
    const bool corrects = !tar.empty() && tar[0] % 2 == 0;
    tar.erase(0, 1);
    if (corrects) {
        CorrectChecksums(tar);
    }
    test::WriteFile(archive, tar);
    test::ScopedSys sys;
    sys->Mount = [](auto...) { return 0; };
    sys->Umount = [](auto...) { return 0; };
    sys->Rmdir = [](const char* path) { // keeps the drive's mount point
        return std::string_view(path) == "/tmp/var/drive" ? 0 : ::rmdir(path);
    };
    int unpacked = -1;
    sys->Spawn = [&](pid_t* child, auto, auto, auto, char* const* arguments, auto) {
        Demand(std::string_view(arguments[1]) == "tar"); // nothing is flashed here
        return *child = Unpack(arguments), 0;
    };
    sys->Waitpid = [&](pid_t child, int* status, int options) {
        pid_t ended = 0;
        do {
            ended = ::waitpid(child, status, options);
        } while (ended == -1 && errno == EINTR);
        unpacked = *status;
        return ended;
    };
    Filesystem drive("/dev/x", "/tmp/var/drive", "none", false, true);
    FirmwareUpdateManager manager(drive);
    Witness witness;
    manager.AddObserver(witness);
    for (int poll = 0; poll < 2; ++poll) {
        manager.ServiceFunction();
    }
    // Debian 12's BusyBox reads through a null pointer at a symbolic link without a target.
    const bool isCrashed = WIFSIGNALED(unpacked) && WTERMSIG(unpacked) == SIGSEGV;
    Demand(isCrashed || (WIFEXITED(unpacked) && WEXITSTATUS(unpacked) <= 1));
    const auto isFile = [](const char* member) {
        const auto status = std::filesystem::symlink_status(updateFolder + member);
        return std::filesystem::is_regular_file(status);
    };
    const bool isUnpacked = unpacked == 0 || isCrashed;
    Demand(!witness.isValid || (isFile("/fit") && isFile("/rootfs") && isUnpacked));
    Demand(Outside() == outside && test::ReadFile(root + "/etc/firmware") == "running");
    return 0;
}
