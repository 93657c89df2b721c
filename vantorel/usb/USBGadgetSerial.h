#pragma once

#include "vantorel/usb/USBGadget.h"

#include <atomic>
#include <memory>
#include <string>

namespace vantorel {

class LineServers;

/**
 * A CDC ACM serial port. Two seconds after it has been bound, its line on the device's side,
 * "/dev/ttyGS" and a number, carries a debug server or a root shell without log-in, or nothing.
 *
 * Lines are numbered over all objects, in the order in which their workers run; each unbinding
 * gives one number back. What was started on a line keeps running until the function is removed.
 * One serial function per controller: the function's name in the configuration does not tell two
 * apart.
 */
class VANTOREL_EXPORT USBGadgetSerial final : public USBGadget {
public:
    /**
     * @param gadgetName name of this object
     * @param controller USB device controller
     * @param withDebugger start a debug server on the line
     * @param withGetty start a shell on the line, unless a debug server is wanted as well
     */
    USBGadgetSerial(std::string gadgetName, std::string controller, bool withDebugger,
                    bool withGetty);
    ~USBGadgetSerial() override;

    void OnAdd() noexcept override;
    /**
     * Kills what was started on the line and whatever else has it open, from whatever program and
     * whether a server was wanted, since the kernel would wait for them without an end. Meanwhile
     * the line's node is gone, so that nobody opens it anew. A line that stays open for five
     * seconds (a process that cannot be killed has it, or this one) ends the process instead.
     *
     * Without CAP_SYS_PTRACE a process with more capabilities than this one is found only when the
     * line is its controlling terminal; any other such process makes the removal wait for it.
     *
     * The line is the one whose number the kernel tells in the function's attribute "port_num"; a
     * kernel without it is taken to have numbered lines as the workers did.
     */
    void OnRemove() noexcept override;
    /** Starts a detached worker that puts the server or shell on the line. */
    void OnBind() noexcept override;
    void OnUnbind() noexcept override;

private:
    static void ServeLine(bool withDebugger, bool withGetty,
                          const std::shared_ptr<LineServers>& servers);

    static std::atomic<int> _count;

    bool debugger;
    bool getty;
    std::shared_ptr<LineServers> servers; // shared with workers, which may outlive the object
};

} // namespace vantorel
