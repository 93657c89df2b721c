// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/usb/USBGadget.h"

#include <atomic>
#include <memory>
#include <string>

namespace vantorel {

class LineServers;

/**
 * A CDC ACM serial port. Two seconds after binding, its line on the device's side, "/dev/ttyGS" and
 * a number, carries a debug server or a root shell without log-in, or nothing.
 *
 * All objects share the numbering of lines, in the order in which their workers run; each unbinding
 * returns one number. An unbinding does not stop a worker that still waits: it takes a number that
 * is one too low, and its server opens another line, or none. A server on a line runs until the
 * function is removed. Use one serial function per controller: two would have the same name in the
 * configuration.
 * Thread-bound.
 *
 * A failed mkdir, fork or wait in OnAdd(), a failed unlink or rmdir in OnRemove(), and a worker
 * that cannot be created in OnBind() end the process.
 */
class VANTOREL_EXPORT USBGadgetSerial final : public USBGadget {
public:
    /**
     * @param gadgetName name of this object
     * @param controller USB device controller
     * @param withDebugger start a debug server on the line
     * @param withGetty start a shell on the line, unless withDebugger is set too
     */
    USBGadgetSerial(std::string gadgetName, std::string controller, bool withDebugger,
                    bool withGetty);
    ~USBGadgetSerial() override;

    void OnAdd() noexcept override;
    /**
     * Kills every other process that has the line open, even when this object started no server,
     * since the kernel would wait for them without a limit. Meanwhile the line's node is renamed,
     * so that no process opens it again. If the line stays open for 500 searches, at least five
     * seconds (by a process that cannot be killed, or by this one), this ends the process instead.
     * Also waits for a worker that is starting a server, and, without a limit, for the killed
     * servers to end.
     *
     * Without CAP_SYS_PTRACE, a process with more capabilities than this one is found only when the
     * line is its controlling terminal; the removal waits for any other such process.
     *
     * The kernel reports the line's number in the function's attribute "port_num". Without this
     * attribute, the lines that the workers took are used.
     */
    void OnRemove() noexcept override;
    /** Starts a detached worker that puts the server or shell on the line; does not wait for it. */
    void OnBind() noexcept override;
    void OnUnbind() noexcept override;

private:
    static void ServeLine(bool withDebugger, bool withGetty,
                          const std::shared_ptr<LineServers>& servers);

    static std::atomic<int> _count;

    bool debugger;
    bool getty;
    std::shared_ptr<LineServers> servers; // shared: workers may outlive the object
};

} // namespace vantorel
