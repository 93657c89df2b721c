// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/usb/USBGadget.h"

#include <string>

namespace vantorel {

/**
 * An RNDIS network interface, "usb0" on the device's side. After binding, a detached worker sets
 * the host name, starts the SSH and the DHCP server through their init scripts and brings up the
 * interface, each a second after the step before. Unbinding stops them in reverse order, but not a
 * worker that has not finished: it starts what is left. Thread-bound.
 *
 * A failed mkdir, unlink, rmdir, fork or wait in OnAdd(), OnRemove() or OnUnbind() ends the
 * process, and so does a worker that cannot be created in OnBind(). So an ifdown that cannot be
 * started ends the process during an orderly stop, too. The worker itself ignores such failures.
 */
class VANTOREL_EXPORT USBGadgetRndis final : public USBGadget {
public:
    /**
     * @param gadgetName name of this object
     * @param controller USB device controller
     */
    USBGadgetRndis(std::string gadgetName, std::string controller);
    ~USBGadgetRndis() override;

    void OnAdd() noexcept override;
    void OnRemove() noexcept override;
    void OnBind() noexcept override;
    /** Starts ifdown without waiting for it; then waits for the init scripts, without a limit. */
    void OnUnbind() noexcept override;

private:
    static void BringUp();
};

} // namespace vantorel
