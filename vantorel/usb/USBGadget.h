// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/devices/Device.h"

#include <fstream>
#include <string>

namespace vantorel {

/**
 * Base of every function of the USB port: its paths in the kernel's gadget configuration file
 * system, mounted on "/config", and the steps that create it there and link it into the one
 * configuration.
 *
 * Thread-bound: the port calls the virtual operations on the thread that composes, binds or unbinds
 * it. The port keeps the object in its list even after removal, so it must outlive the port's last
 * BindGadgets() or UnbindGadgets(), including the unbinding by a firmware update.
 */
class VANTOREL_EXPORT USBGadget : public Device {
public:
    /**
     * Accesses no file.
     * @param gadgetName name of this object
     * @param functionType the kernel's name of the function, for instance "acm"
     * @param controller USB device controller; the part after its last dot is the gadget's index
     */
    USBGadget(std::string gadgetName, const std::string& functionType, std::string controller);
    ~USBGadget() override;

    /** Creates the function and links it into the configuration. */
    virtual void OnAdd() = 0;
    /** Unlinks the function from the configuration and removes it. */
    virtual void OnRemove() = 0;
    /** The port has been bound to its controller. */
    virtual void OnBind() = 0;
    /** The port is about to be unbound. */
    virtual void OnUnbind() = 0;

protected:
    /** @throws Error */
    void CreateFunction() const;
    /** @throws Error */
    void RemoveFunction() const;
    /**
     * Runs ln and waits for it; its exit status is not examined.
     * @throws Error only when the child cannot be started or waited for
     */
    void LinkFunction() const;
    /** @throws Error */
    void UnlinkFunction() const;
    /** Writes a value without a newline to an attribute of the function; failures are not reported.
     */
    void WriteFunctionAttribute(const std::string& attribute, const std::string& value);

    std::ofstream attributeStream;      /**< of the attribute being written */
    std::string gadgetIndex;            /**< the part after the last dot of the controller's name */
    std::string controllerName;         /**< as given at construction */
    std::string gadgetDirectory;        /**< of the gadget, with a trailing slash */
    std::string functionsDirectory;     /**< of its functions, with a trailing slash */
    std::string configurationDirectory; /**< of its configuration, with a trailing slash */
    std::string functionInstance;       /**< name of this function, for instance "acm.usb0" */
};

} // namespace vantorel
