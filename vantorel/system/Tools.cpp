// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/system/Tools.h"

#include "vantorel/service/Error.h"
#include "vantorel/service/UniqueFd.h"
#include "vantorel/service/private/OrThrow.h"
#include "vantorel/service/private/ReadFile.h"
#include "vantorel/service/private/Sys.h"
#include "vantorel/service/private/WriteFile.h"
#include "vantorel/system/private/ChildProcess.h"
#include "vantorel/system/private/Proc.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <mntent.h>
#include <sys/mount.h>
#include <sys/wait.h>

namespace vantorel {
namespace {

constexpr unsigned long readOnlyFlag = MS_RDONLY;

/**
 * For programs whose success matters. The error's number is the whole wait status, and a program
 * that a signal killed does not count as failed. Kept: callers may compare with these numbers.
 */
void ThrowIfFailed(int status) {
    if (WIFEXITED(status) && WEXITSTATUS(status) != 0) {
        throw Error(status);
    }
}

/** Copies the rest of a file, up to the first failure. */
void CopyInBlocks(const UniqueFd& from, const UniqueFd& to) {
    std::vector<char> block(std::size_t{64} << 10);
    for (;;) {
        const ssize_t count = sys::Read(from.Get(), block.data(), block.size());
        if (count == -1 && errno == EINTR) {
            continue;
        }
        if (count <= 0 || !WriteAll(to.Get(), {block.data(), static_cast<std::size_t>(count)})) {
            return;
        }
    }
}

} // namespace

void Tools::Ln(std::string a, std::string b, std::string c) {
    RunAndWait(Applet({"ln", std::move(a), std::move(b), std::move(c)}));
}

void Tools::Modprobe(std::string module) {
    RunAndWait({"/sbin/modprobe", std::move(module)});
}

void Tools::Modprobe(std::string module, std::string p1, std::string p2, std::string p3,
                     std::string p4, std::string p5) {
    RunAndWait({"/sbin/modprobe", std::move(module), std::move(p1), std::move(p2), std::move(p3),
                std::move(p4), std::move(p5)});
}

void Tools::Rmmod(std::string module) {
    RunAndWait(Applet({"rmmod", std::move(module)}));
}

void Tools::Hostname(std::string file) {
    RunAndWait(Applet({"hostname", "-F", std::move(file)}));
}

pid_t Tools::Ifup(std::string interface) {
    return StartChild(Applet({"ifup", std::move(interface)}));
}

pid_t Tools::Ifdown(std::string interface) {
    return StartChild(Applet({"ifdown", std::move(interface)}));
}

pid_t Tools::GettyStart(std::string line, std::string speed) {
    // -n: do not prompt for a name; -l: run the shell instead of a log-in.
    return StartSupervised(
        Applet({"getty", "-n", "-l", "/bin/sh", std::move(line), std::move(speed)}));
}

pid_t Tools::GdbserverStart(std::string comm) {
    return StartChild({"/usr/bin/gdbserver", "--multi", std::move(comm)});
}

void Tools::MkfsVfat(std::string device, std::string label) {
    RunAndWait(Applet({"mkfs.vfat", "-n", std::move(label), std::move(device)}));
}

void Tools::FwSetEnv(std::string name, std::string value) {
    ThrowIfFailed(RunAndWait({"/usr/bin/fw_setenv", std::move(name), std::move(value)}));
}

void Tools::Untar(std::string archive, std::string directory) {
    ThrowIfFailed(
        RunAndWait(Applet({"tar", "-xf", std::move(archive), "-C", std::move(directory)})));
}

void Tools::InitdStart(std::string name) {
    RunAndWait(Applet({"sh", "/etc/init.d/" + name, "start"}));
}

void Tools::InitdStop(std::string name) {
    RunAndWait(Applet({"sh", "/etc/init.d/" + name, "stop"}));
}

pid_t Tools::ShStart(std::string term) {
    return StartChild(Applet({"sh"}), {"HOME=/", "TERM=" + term});
}

void Tools::Mkdir(std::string path) {
    // Directories get 0600, too: only root uses them, and root does not need the execute bit.
    if (sys::Mkdir(path.c_str(), 0600) == -1 && errno != EEXIST) {
        throw Error(errno);
    }
}

void Tools::Rmdir(std::string path) {
    OrThrow(sys::Rmdir(path.c_str()));
}

void Tools::Unlink(std::string path) {
    OrThrow(sys::Unlink(path.c_str()));
}

void Tools::Mount(std::string source, std::string target, std::string type, bool readOnly) {
    if (IsMounted(target, type)) {
        return;
    }
    OrThrow(sys::Mount(source.c_str(), target.c_str(), type.c_str(), readOnly ? readOnlyFlag : 0UL,
                       nullptr));
}

void Tools::Remount(std::string target, bool readOnly) {
    OrThrow(sys::Mount(nullptr, target.c_str(), nullptr,
                       MS_REMOUNT | (readOnly ? readOnlyFlag : 0UL), nullptr));
}

void Tools::Umount(std::string target) {
    OrThrow(sys::Umount(target.c_str()));
}

bool Tools::IsMounted(std::string target, std::string type) {
    // Read the table through the library's system-call wrappers; getmntent_r() only decodes its
    // fields.
    std::string content = ReadFileIfPossible("/etc/mtab");
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> table(
        ::fmemopen(content.data(), content.size(), "r"), ::endmntent);
    if (!table) {
        return false;
    }
    bool found = false;
    mntent entry{};
    std::array<char, 8192> texts{}; // getmntent() would use one buffer for all threads
    while (!found &&
           ::getmntent_r(table.get(), &entry, texts.data(), int{texts.size()}) != nullptr) {
        found = target == entry.mnt_dir && type == entry.mnt_type;
    }
    return found;
}

void Tools::Cp(std::string source, std::string destination) {
    const UniqueFd from(sys::Open(source.c_str(), O_RDONLY | O_CLOEXEC, 0));
    const UniqueFd to(
        sys::Open(destination.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (!from || !to) {
        return;
    }
    // Copy within the kernel: copying an archive through the process's buffer takes more than
    // twice as long.
    constexpr std::size_t most = std::size_t{1} << 30;
    ssize_t sent = 0;
    do {
        sent = sys::Sendfile(to.Get(), from.Get(), nullptr, most);
    } while (sent > 0 || (sent == -1 && errno == EINTR));
    if (sent == -1 && (errno == EINVAL || errno == ENOSYS)) {
        CopyInBlocks(from, to); // the file system does not support it
    }
}

void Tools::BalanceIrqs() {}

pid_t Tools::PidOf(std::string executable) {
    return Proc::PidOf(executable);
}

int Tools::GetFd(pid_t pid, std::string target) {
    return Proc::DescriptorOf(pid, target);
}

std::string Tools::MtdOf(std::string partitionName) {
    return Proc::MtdOf(partitionName);
}

std::string Tools::ImageSelect() {
    return Proc::ImageSelect();
}

} // namespace vantorel
