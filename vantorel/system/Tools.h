// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Export.h"

#include <string>

#include <sys/types.h>

namespace vantorel {

/**
 * Runs other programs and makes raw file-system calls for the whole system. Programs are started by
 * absolute path and argument list, never through a shell's command line; applets run as arguments
 * of "/bin/busybox".
 *
 * Unless an operation says otherwise, a failed fork, wait or system call throws Error with its
 * errno, and the exit status of a program is not examined: a program that the kernel cannot
 * execute (it is missing, or memory is short) counts as one that exited with 127. Operations that
 * wait do so without a time-out. Install signal handlers with SA_RESTART: a wait is not repeated
 * after EINTR. All are stateless, so thread-safe. An operation that does not wait does not reap its
 * child either; the caller may wait for the process id that it returns.
 *
 * A child starts with the default action of every signal and with no signal blocked, whatever the
 * application has set for itself. It gets neither the display's memory nor any descriptor of the
 * library except those of streams: the log file, the kernel's log, and an attribute of the USB port
 * that another thread is writing at this moment.
 */
class VANTOREL_EXPORT Tools {
public:
    Tools() = delete;

    // Programs.

    /** Runs ln with three arguments, for instance "-s", target, link; waits. */
    static void Ln(std::string a, std::string b, std::string c);
    /** Loads a kernel module; waits. */
    static void Modprobe(std::string module);
    /** Loads a kernel module with five parameters, each passed unchanged; waits. */
    static void Modprobe(std::string module, std::string p1, std::string p2, std::string p3,
                         std::string p4, std::string p5);
    /** Unloads a kernel module; waits. */
    static void Rmmod(std::string module);
    /** Sets the host name from a file; waits. */
    static void Hostname(std::string file);
    /** Brings a network interface up; returns the process id without waiting. */
    static pid_t Ifup(std::string interface);
    /** Takes a network interface down; returns the process id without waiting. */
    static pid_t Ifdown(std::string interface);
    /**
     * Runs a root shell on a serial line and starts a new one whenever it ends, without delay or
     * limit. Returns the process id of the child that supervises them, without waiting.
     */
    static pid_t GettyStart(std::string line, std::string speed);
    /** Starts a debug server on a line; returns its process id without waiting. */
    static pid_t GdbserverStart(std::string comm);
    /** Formats a device or image as FAT; waits. */
    static void MkfsVfat(std::string device, std::string label);
    /**
     * Sets a boot-loader variable; waits.
     * @throws Error with the raw wait status (256 for exit code 1) when the program fails; being
     *         killed by a signal does not count as failing
     */
    static void FwSetEnv(std::string name, std::string value);
    /** Unpacks an archive into a directory; waits. @throws Error as FwSetEnv() */
    static void Untar(std::string archive, std::string directory);
    /** Runs "/etc/init.d/NAME start"; waits. */
    static void InitdStart(std::string name);
    /** Runs "/etc/init.d/NAME stop"; waits. */
    static void InitdStop(std::string name);
    /** Starts a shell with HOME=/ and the given TERM; returns its process id without waiting. */
    static pid_t ShStart(std::string term);

    // File system.

    /** Makes a directory for the owner only (0600). An existing entry is not an error. */
    static void Mkdir(std::string path);
    /** Removes an empty directory. */
    static void Rmdir(std::string path);
    /** Removes a file. */
    static void Unlink(std::string path);
    /** Mounts, unless a file system of that type, of any source, is mounted there already. */
    static void Mount(std::string source, std::string target, std::string type, bool readOnly);
    /** Makes a mount read-only or writable. */
    static void Remount(std::string target, bool readOnly);
    /** Unmounts. */
    static void Umount(std::string target);
    /** Whether the mount table has a mount of that type on that directory. Never throws. */
    static bool IsMounted(std::string target, std::string type);
    /** Copies a file. Failures are not reported; a missing source leaves an empty destination. */
    static void Cp(std::string source, std::string destination);
    /** Does nothing: a hook for boards that distribute interrupts over processors. */
    static void BalanceIrqs();

    // Queries.

    /** Returns the first process whose executable is exactly this path, or -1. */
    static pid_t PidOf(std::string executable);
    /**
     * Returns the device ("/dev/mtd3") of the first line of "/proc/mtd" that contains the name, or
     * an empty text. The name must not occur in another partition's line.
     */
    static std::string MtdOf(std::string partitionName);
    /** Returns the first descriptor of a process that is open on exactly this path, or -1. */
    static int GetFd(pid_t pid, std::string target);
    /**
     * Returns the running slot: the character after "image_select=" on the kernel's command line.
     * @throws std::out_of_range when the command line has no such parameter
     */
    static std::string ImageSelect();
};

} // namespace vantorel
