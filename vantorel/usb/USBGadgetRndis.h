#pragma once

#include "vantorel/usb/USBGadget.h"

#include <string>

namespace vantorel {

/**
 * An RNDIS network interface, "usb0" on the device's side. Within three seconds after it has been
 * bound, a detached worker sets the host name, starts the SSH and the DHCP server by their init
 * scripts and brings the interface up; unbinding stops them in the reverse order.
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
    /** Waits for the init scripts. */
    void OnUnbind() noexcept override;

private:
    static void BringUp();
};

} // namespace vantorel
