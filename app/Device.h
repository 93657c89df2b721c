// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "app/Board.h"
#include "app/Latches.h"
#include "app/LogFlusher.h"
#include "app/Open.h"
#include "vantorel/camera/CameraManager.h"
#include "vantorel/devices/Button.h"
#include "vantorel/devices/ButtonService.h"
#include "vantorel/devices/Charger.h"
#include "vantorel/devices/LCD.h"
#include "vantorel/devices/LCDService.h"
#include "vantorel/devices/TestFixture.h"
#include "vantorel/devices/Thermometer.h"
#include "vantorel/devices/ThermometerService.h"
#include "vantorel/devices/Torch.h"
#include "vantorel/fuelgauge/FuelGauge.h"
#include "vantorel/fuelgauge/FuelGaugeService.h"
#include "vantorel/logger/Logger.h"
#include "vantorel/logger/LoggerService.h"
#include "vantorel/power/ConnectionManager.h"
#include "vantorel/power/PowerManager.h"
#include "vantorel/ui/UserInterfaceManager.h"
#include "vantorel/update/FirmwareUpdateManager.h"
#include "vantorel/usb/USB.h"
#include "vantorel/usb/USBGadgetMassStorage.h"
#include "vantorel/usb/USBGadgetRndis.h"
#include "vantorel/usb/USBGadgetSerial.h"
#include "vantorel/usb/USBGadgetSubi.h"

#include <functional>

namespace app {

using namespace vantorel;

class StopSteps;

/**
 * The whole device. Its members are constructed in the order of their declaration. Then call
 * Wire(), Start() and Stop() in this order, each once and on one thread.
 */
class Device {
public:
    /**
     * Opens the hardware and shows the first screen.
     * @param serialDebugger run a debug server on the USB serial line instead of the shell
     * @throws std::runtime_error that names the part that cannot be opened
     * @throws CameraError from the camera SDK
     */
    explicit Device(bool serialDebugger) : hasSerialDebugger(serialDebugger) {}

    /** Registers the observers and the functions of the USB port. */
    void Wire();

    /**
     * Starts the services. Waits some seconds for a camera.
     * @param shouldEnd checked during the wait; true ends it, and the connection manager does not
     *         start
     */
    void Start(const std::function<bool()>& shouldEnd);

    /**
     * Ends the process within ten seconds, whatever the camera does: writes the log to its file,
     * releases the USB port and unmounts the drive. It first waits for an update that is being
     * written to flash, and for a stream that is being written to the fuel gauge, without a limit.
     * An update that has only been found or begun is dropped. The time that init scripts take to
     * leave the bus, and that processes on the serial line take to end, does not count either; each
     * of the two has a limit of 30 seconds.
     *
     * A thread of the library may wait for the camera: for one to connect, for a frame before it
     * stops the capture session (a USB host can cause that), or for the SDK. So each step that
     * joins a thread has a time limit, and the end of the process ends the threads that remain. No
     * destructor runs: threads of the buttons, the display and the camera still use the objects.
     */
    [[noreturn]] void Stop(int status);

private:
    /** Throws unless the display has the size that the UI library draws. */
    struct SizeCheck {
        explicit SizeCheck(const LCD& lcd);
    };

    /**
     * Throws unless the software's version and the board's revision are known. The user interface
     * and the host show both; the error of a conversion would not say which files to correct.
     */
    struct VersionCheck {
        VersionCheck();
    };

    /**
     * Shows the first picture, and lets the display draw while the members below it are
     * constructed. Stops the display when one of them fails, because a service must not be
     * destroyed while it runs.
     */
    class EarlyDisplay {
    public:
        explicit EarlyDisplay(Device& device) : service(device.lcdService) {
            device.WireScreen();
            service.Start();
            // The rest of the start would take the processor from the thread that draws.
            device.pictureLatch.Wait(board::pictureWait);
        }
        ~EarlyDisplay() { service.Stop(); }
        EarlyDisplay(const EarlyDisplay&) = delete;
        EarlyDisplay& operator=(const EarlyDisplay&) = delete;

    private:
        LCDService& service;
    };

    /**
     * Logs to memory when no file can be created in the log's file system: the camera works
     * without a log.
     */
    static Logger OpenLog();

    void WireScreen();
    void WireConnection();
    bool StopDeciding(StopSteps& steps);
    void RemoveFunctions(StopSteps& steps);
    void UnmountDrive(StopSteps& steps);

    const bool hasSerialDebugger;

    // The hardware. Each constructor opens its device and throws when it is missing.
    Charger charger = Open<Charger>("vantorel.charger", board::charger);
    FuelGauge fuelGauge = Open<FuelGauge>("vantorel.fuelgauge", board::fuelGaugeBus,
                                          board::gpioChip, board::fuelGaugeLine);
    // Not read by this application; keeps other programs from using its lines.
    TestFixture fixture = Open<TestFixture>("vantorel.fixture", board::gpioChip);
    Button powerButton = Open<Button>(board::powerButtonName, board::buttons, board::powerKey);
    Button torchButton = Open<Button>(board::torchButtonName, board::buttons, board::torchKey);
    Button resetButton = Open<Button>(board::resetButtonName, board::buttons, board::resetKey);
    Torch torch = Open<Torch>("vantorel.torch", board::torch);
    Thermometer boardThermometer =
        Open<Thermometer>(board::boardThermometerName, board::boardTemperature);
    Thermometer boardLogThermometer =
        Open<Thermometer>(board::boardLogThermometerName, board::boardTemperature);
    Thermometer processorThermometer =
        Open<Thermometer>(board::processorLogThermometerName, board::processorTemperature);
    const VersionCheck versionCheck;

    // The screen, and the observers of the user's requests. The display is the last: opening it
    // waits for a refresh, and the less is left to do then, the sooner the first picture follows.
    Logger logger = Open("log", board::logDirectory, OpenLog);
    LogFlusher logFlusher{logger};
    PowerManager power;
    CameraManager camera{board::cameraDiscoveryMode};
    UserInterfaceManager userInterface;
    LCD lcd = Open<LCD>("vantorel.lcd", board::display);
    const SizeCheck sizeCheck{lcd};

    // The first screen is shown while the rest starts: the USB port and its functions load kernel
    // modules, and the drive is formatted.
    LCDService lcdService{lcd};
    PictureLatch pictureLatch;
    const EarlyDisplay earlyDisplay{*this};

    // The USB port and its functions. The host may write the drive, to deliver updates.
    USB usb = Open<USB>("vantorel.usb", board::usbController);
    USBGadgetMassStorage drive = Open<USBGadgetMassStorage>(
        "vantorel.usb.drive", board::usbController, board::driveLabel, board::driveSize, false);
    USBGadgetSerial serial =
        Open<USBGadgetSerial>("vantorel.usb.serial", board::usbController, hasSerialDebugger, true);
    USBGadgetRndis network = Open<USBGadgetRndis>("vantorel.usb.network", board::usbController);
    USBGadgetSubi control = Open<USBGadgetSubi>("vantorel.usb.control", board::usbController);

    // The services that poll the hardware.
    ButtonService powerButtonService{powerButton};
    ButtonService torchButtonService{torchButton};
    ButtonService resetButtonService{resetButton};
    ThermometerService boardThermometerService{boardThermometer, board::thermometerInterval};
    ThermometerService boardLogService{boardLogThermometer, board::thermometerInterval};
    ThermometerService processorLogService{processorThermometer, board::thermometerInterval};
    FuelGaugeService fuelGaugeService{fuelGauge, board::fuelGaugeInterval};
    LoggerService loggerService{logger, board::loggerInterval};

    // The managers.
    FirmwareUpdateManager update{drive.Storage()};
    ConnectionManager connection{charger, fuelGauge, usb, board::connectionInterval};

    // Stop() reads from these the connected camera, and which observers the connection manager's
    // announcement has reached.
    CameraLatch cameraLatch;
    ConnectionLatch decided;     // first of the connection manager's observers
    ConnectionLatch beforeGauge; // before the fuel gauge's service
    ConnectionLatch settled;     // last
};

} // namespace app
