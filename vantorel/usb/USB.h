// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/devices/Connection.h"
#include "vantorel/devices/Device.h"
#include "vantorel/service/CameraObserver.h"
#include "vantorel/service/FirmwareUpdateObserver.h"
#include "vantorel/service/Mutex.h"

#include <array>
#include <cstdint>
#include <fstream>
#include <functional>
#include <future>
#include <list>
#include <memory>
#include <string>

namespace vantorel {

class USBGadget;

/**
 * The USB device port: one composite gadget in the kernel's gadget configuration file system. It
 * consists of the functions passed to AddGadget() and is bound once in the object's life.
 *
 * The descriptors depend on the camera, so binding waits for one. As a Connection the port reports
 * whether a host has configured it. When a firmware update begins, the port leaves the bus for the
 * rest of the run.
 *
 * The serial number in the descriptors is an address in this process, not the camera's number, so
 * it can change at every start.
 *
 * Thread-bound, except for the notifications: those of the camera arrive on the SDK's thread, the
 * unbinding on the update's. BindGadgets() and UnbindGadgets() must not overlap.
 *
 * An application's test may derive a stand-in: ConnectionManager uses a port only through its
 * virtual operations, see docs/wiring.md.
 */
class VANTOREL_EXPORT USB : public CameraObserver,
                            public Connection,
                            public Device,
                            public FirmwareUpdateObserver {
public:
    /**
     * Creates the gadget's directories and fixed attributes. An attribute that the kernel refuses
     * is not reported; a host sees the kernel's default.
     * @param portName name of this object
     * @param controller USB device controller, as in "/sys/class/udc"
     * @throws Error when the controller does not exist or a directory cannot be created
     */
    USB(std::string portName, std::string controller);
    /**
     * Leaves the gadget as it is, also on the bus. A waiting BindGadgets() ends with
     * std::future_error.
     */
    ~USB() override;

    /**
     * Adds a function, borrowed: it must outlive the port's last BindGadgets() or UnbindGadgets(),
     * including the unbinding by a firmware update. Call it before BindGadgets(), which composes
     * the functions in reverse order.
     */
    void AddGadget(USBGadget& gadget);

    /**
     * Removes a function from the gadget; it stays in the port's list. Call UnbindGadgets() first:
     * a function that a host uses may wait for the host. Waits for what the function's OnRemove()
     * waits for; a failure in OnRemove() of a function of this library ends the process.
     */
    void RemoveGadget(USBGadget& gadget);

    /**
     * Unbinds the gadget; its functions stay composed. Waits for OnUnbind() of each function, of
     * which the network's runs init scripts, and then for the kernel. A failure in OnUnbind() of
     * the network function ends the process; a kernel that refuses to unbind is not reported.
     */
    void UnbindGadgets();

    /** Whether a host has configured the port; prints its state. @throws Error */
    bool IsConnected() override;

    /**
     * Reads the port's identity from the camera.
     * @throws std::future_error at the second camera in the object's life
     */
    void OnCameraConnect(Camera& camera) override;
    void OnCameraDisconnect(Camera& camera) override;
    void OnCameraCaptureSessionStop(Camera& camera) override;
    void OnCameraFrameAvailable(Camera& camera, kirocamera_frame_t* frame) override;
    void OnCameraError(Camera& camera, kirocamera_error_t error) override;

    void OnFirmwareUpdateFileFound(FirmwareUpdateManager& manager) override;
    void OnFirmwareUpdateFileValid(FirmwareUpdateManager& manager) override;
    /** Leaves the bus; a failure ends the process. */
    void OnFirmwareUpdateBegin(FirmwareUpdateManager& manager) noexcept override;
    void OnFirmwareUpdateInProgress(FirmwareUpdateManager& manager, std::uint8_t percent) override;
    void OnFirmwareUpdateComplete(FirmwareUpdateManager& manager) override;
    void OnFirmwareUpdateError(FirmwareUpdateManager& manager, Error& error) override;

    /**
     * Composes the gadget, waits without a limit until a camera connects, and binds it. An
     * attribute that the kernel refuses is not reported: a host sees the kernel's default, and a
     * controller that is busy leaves the port off the bus. It must stay the last virtual operation,
     * so that the slots of the others do not change.
     * @throws Error of a function; std::future_error at a second call, which adds the functions
     *         again first, and when the port is destroyed while this waits
     */
    virtual void BindGadgets();

protected:
    /** A port that uses no file, for a stand-in in an application's test. */
    explicit USB(std::string portName);

private:
    using SerialNumber = std::array<char, KIROCAMERA_TEXT_SIZE>;

    void DescribeToHost(std::uint16_t connectedChip);
    std::string SerialNumberText() const VANTOREL_EXCLUDES(identityMutex);
    void Write(const std::string& attribute, const std::string& value);

    std::string gadgetIndex;
    std::string controllerName;
    std::string gadgetDirectory;
    std::string stringsDirectory;
    std::string configurationDirectory;
    mutable Mutex identityMutex; // a camera may disconnect while the port is being bound
    std::unique_ptr<std::uint16_t> chipId VANTOREL_GUARDED_BY(identityMutex);
    std::promise<std::uint16_t> chipIdPromise;
    std::unique_ptr<SerialNumber> serialNumber VANTOREL_GUARDED_BY(identityMutex);
    std::promise<void> serialNumberPromise;
    std::ofstream attributeStream;
    std::list<std::reference_wrapper<USBGadget>> gadgets; // last added first
};

} // namespace vantorel
