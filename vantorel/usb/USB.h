#pragma once

#include "vantorel/devices/Connection.h"
#include "vantorel/devices/Device.h"
#include "vantorel/service/CameraObserver.h"
#include "vantorel/service/FirmwareUpdateObserver.h"

#include <array>
#include <cstdint>
#include <fstream>
#include <future>
#include <list>
#include <memory>
#include <mutex>
#include <string>

namespace vantorel {

class USBGadget;

/**
 * The USB device port: one composite gadget in the kernel's gadget configuration file system, made
 * of the functions handed to AddGadget() and bound once in the object's life.
 *
 * What a host reads of it depends on the camera, so binding waits for one. As a Connection it
 * reports whether a host has configured the port. When a firmware update begins, it leaves the bus
 * for the rest of the run.
 *
 * The serial number that a host reads is made of an address in this process, not of the camera's
 * number, so it can be another one after every start.
 *
 * Constructed and composed on one thread; the camera's notifications arrive on the SDK's, the
 * unbinding on the update's. BindGadgets() and UnbindGadgets() must not overlap.
 *
 * An application's test may derive a stand-in: ConnectionManager uses a port through its virtual
 * operations only, see docs/wiring.md.
 */
class VANTOREL_EXPORT USB : public CameraObserver,
                            public Connection,
                            public Device,
                            public FirmwareUpdateObserver {
public:
    /**
     * Creates the gadget's directories and fixed attributes.
     * @param portName name of this object
     * @param controller USB device controller, as in "/sys/class/udc"
     * @throws Error when the controller does not exist or a directory cannot be made
     */
    USB(std::string portName, std::string controller);
    ~USB() override;

    /** Adds a function, before BindGadgets(); borrowed for the life of the port. The functions are
     * composed in the reverse of the order in which they were added. */
    void AddGadget(USBGadget& gadget);

    /** Has a function taken out of the gadget; it stays in the port's list. */
    void RemoveGadget(USBGadget& gadget);

    /** Unbinds the gadget; its functions stay composed. */
    void UnbindGadgets();

    /** Whether a host has configured the port; prints its state. @throws Error */
    bool IsConnected() override;

    /**
     * Learns from the camera what the port is called.
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
     * Composes the gadget, waits without a limit until a camera has connected, and binds it. The
     * last of the virtual operations, so that it leaves the others their numbers.
     * @throws Error of a function, std::future_error when called a second time
     */
    virtual void BindGadgets();

protected:
    /** A port that touches no file, for a stand-in in the test of an application. */
    explicit USB(std::string portName);

private:
    using SerialNumber = std::array<char, KIROCAMERA_TEXT_SIZE>;

    void DescribeToHost(std::uint16_t connectedChip);
    std::string SerialNumberText() const;
    void Write(const std::string& attribute, const std::string& value);

    std::string gadgetIndex;
    std::string controllerName;
    std::string gadgetDirectory;
    std::string stringsDirectory;
    std::string configurationDirectory;
    mutable std::mutex identityMutex; // a camera may leave while the port is being bound
    std::unique_ptr<std::uint16_t> chipId;
    std::promise<std::uint16_t> chipIdPromise;
    std::unique_ptr<SerialNumber> serialNumber;
    std::promise<void> serialNumberPromise;
    std::ofstream attributeStream;
    std::list<std::reference_wrapper<USBGadget>> gadgets; // last added first
};

} // namespace vantorel
