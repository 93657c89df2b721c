/**
 * The reference application: wires the whole device from the library's classes. Read it from top to
 * bottom and copy it: construct, register observers, start, wait, stop.
 */
#include "app/Board.h"
#include "app/Latches.h"
#include "app/LogFlusher.h"
#include "app/Shutdown.h"
#include "vantorel/camera/CameraError.h"
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
#include "vantorel/system/Firstboot.h"
#include "vantorel/ui/UserInterfaceManager.h"
#include "vantorel/update/FirmwareUpdateManager.h"
#include "vantorel/usb/USB.h"
#include "vantorel/usb/USBGadgetMassStorage.h"
#include "vantorel/usb/USBGadgetRndis.h"
#include "vantorel/usb/USBGadgetSerial.h"
#include "vantorel/usb/USBGadgetSubi.h"

#include <csignal>
#include <exception>
#include <iostream>
#include <string_view>

using namespace vantorel;

namespace {

/** Blocks the termination signals in all later threads, so that WaitForTermination() gets them. */
sigset_t BlockTerminationSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

bool IsTerminationPending(const sigset_t& signals) {
    sigset_t pending;
    sigpending(&pending);
    sigset_t both;
    sigandset(&both, &pending, &signals);
    return sigisemptyset(&both) == 0;
}

void WaitForTermination(const sigset_t& signals) {
    int received = 0;
    sigwait(&signals, &received);
}

/** Stops the display when a later start-up step fails: no service may be destroyed running. */
class StopOnFailure {
public:
    explicit StopOnFailure(LCDService& running) : display(running) {}
    ~StopOnFailure() { display.Stop(); }
    StopOnFailure(const StopOnFailure&) = delete;
    StopOnFailure& operator=(const StopOnFailure&) = delete;

private:
    LCDService& display;
};

int Run(bool debugServer) {
    const sigset_t termination = BlockTerminationSignals();

    // The first start of new firmware. A product may convert settings here; this one has none.
    Firstboot firstStart;
    if (firstStart.Value()) {
        firstStart.Clear();
    }

    // The hardware. Each constructor opens its device and throws when it is missing.
    Charger charger("vantorel.charger", board::charger);
    FuelGauge fuelGauge("vantorel.fuelgauge", board::fuelGaugeBus, board::gpioChip,
                        board::fuelGaugeLine);
    // For a future factory mode. Until then, it keeps other programs from using its lines.
    TestFixture fixture("vantorel.fixture", board::gpioChip);
    Button powerButton(board::powerButtonName, board::buttons, board::powerKey);
    Button torchButton(board::torchButtonName, board::buttons, board::torchKey);
    Button resetButton(board::resetButtonName, board::buttons, board::resetKey);
    Torch torch("vantorel.torch", board::torch);
    LCD lcd("vantorel.lcd", board::display);
    Thermometer boardThermometer(board::boardThermometerName, board::boardTemperature);
    Thermometer boardLogThermometer(board::boardLogThermometerName, board::boardTemperature);
    Thermometer processorThermometer(board::processorLogThermometerName,
                                     board::processorTemperature);
    if (lcd.Width() != board::screenWidth || lcd.Height() != board::screenHeight) {
        std::cerr << "The display has " << lcd.Width() << " x " << lcd.Height()
                  << " pixels, the user interface draws " << board::screenWidth << " x "
                  << board::screenHeight << ".\n";
        return 1;
    }

    // The screen, and the observers of what the user asks for: complete before it draws, since the
    // UI library may raise an event while it does.
    Logger logger(board::logDirectory);
    LogFlusher logFlusher(logger);
    PowerManager power;
    CameraManager camera(board::cameraDiscoveryMode);
    UserInterfaceManager userInterface;
    userInterface.AddObserver(torch);
    userInterface.AddObserver(camera);
    userInterface.AddObserver(logFlusher);
    userInterface.AddObserver(power); // last: it does not return
    torch.AddObserver(userInterface);

    // The first screen is shown while the rest starts: the USB port and its functions load kernel
    // modules, and the drive is formatted.
    LCDService lcdService(lcd);
    lcdService.AddObserver(userInterface);
    lcdService.Start();
    const StopOnFailure stopOnFailure(lcdService);

    // The USB port and its functions. The host may write the drive, to deliver updates.
    USB usb("vantorel.usb", board::usbController);
    USBGadgetMassStorage drive("vantorel.usb.drive", board::usbController, board::driveLabel,
                               board::driveSize, false);
    USBGadgetSerial serial("vantorel.usb.serial", board::usbController, debugServer, true);
    USBGadgetRndis network("vantorel.usb.network", board::usbController);
    USBGadgetSubi control("vantorel.usb.control", board::usbController);

    // The services that poll the hardware.
    ButtonService powerButtonService(powerButton);
    ButtonService torchButtonService(torchButton);
    ButtonService resetButtonService(resetButton);
    ThermometerService boardThermometerService(boardThermometer, board::thermometerInterval);
    ThermometerService boardLogService(boardLogThermometer, board::thermometerInterval);
    ThermometerService processorLogService(processorThermometer, board::thermometerInterval);
    FuelGaugeService fuelGaugeService(fuelGauge, board::fuelGaugeInterval);
    LoggerService loggerService(logger, board::loggerInterval);

    // The managers.
    FirmwareUpdateManager update(drive.Storage());
    ConnectionManager connection(charger, fuelGauge, usb, board::connectionInterval);
    CameraLatch cameraLatch;
    ConnectionLatch decided;
    ConnectionLatch beforeGauge;
    ConnectionLatch settled;

    // The observers of each subject. The order matters where a comment says why. The latches tell
    // ShutDown() which observers an announcement has reached.
    connection.AddObserver(decided);
    connection.AddObserver(userInterface);
    connection.AddObserver(power);
    connection.AddObserver(camera);
    connection.AddObserver(update);
    connection.AddObserver(loggerService);
    // After those that may receive a state twice: a torch that cannot be switched throws, and the
    // manager announces the state again.
    connection.AddObserver(torch);
    connection.AddObserver(beforeGauge);
    // After all that may throw, so that it receives a state once: it resets the gauge, which takes
    // a second, and starts polling it.
    connection.AddObserver(fuelGaugeService);
    connection.AddObserver(settled);

    // The USB port and the control function must observe the camera, or binding the port would wait
    // forever.
    camera.AddObserver(userInterface);
    camera.AddObserver(logger);
    camera.AddObserver(usb);
    camera.AddObserver(control);
    camera.AddObserver(cameraLatch);

    powerButtonService.AddObserver(userInterface);
    torchButtonService.AddObserver(userInterface);
    resetButtonService.AddObserver(userInterface);
    boardThermometerService.AddObserver(userInterface);
    boardLogService.AddObserver(logger);
    processorLogService.AddObserver(logger);
    fuelGaugeService.AddObserver(userInterface);
    fuelGaugeService.AddObserver(logger);
    loggerService.AddObserver(userInterface);
    update.AddObserver(userInterface); // the screen first: leaving the bus waits for init scripts
    update.AddObserver(usb);
    control.AddObserver(camera);

    // The port adds its functions in reverse order, and numbers their interfaces in that order: the
    // network function has the first two. The control function waits for a camera when the port
    // adds it, so the port adds the others first.
    usb.AddGadget(control);
    usb.AddGadget(serial);
    usb.AddGadget(drive);
    usb.AddGadget(network);

    // The camera starts before the connection manager, whose first decision starts the capture
    // session of the camera connected by then. The services of the fuel gauge and the logger start
    // themselves when that decision finds a battery.
    camera.Start();
    boardThermometerService.Start();
    boardLogService.Start();
    processorLogService.Start();
    powerButtonService.Start();
    torchButtonService.Start();
    resetButtonService.Start();
    const auto isToEnd = [&] { return IsTerminationPending(termination); };
    if (!cameraLatch.WaitFor(board::cameraWait, isToEnd)) {
        std::cerr << "No camera yet; going on without it.\n";
    }
    if (!isToEnd()) {
        connection.Start();
    }

    WaitForTermination(termination);
    ShutDown({.logger = logger,
              .usb = usb,
              .drive = drive,
              .network = network,
              .serial = serial,
              .control = control,
              .connection = connection,
              .update = update,
              .pollers = {fuelGaugeService, loggerService, processorLogService, boardLogService,
                          boardThermometerService},
              .camera = cameraLatch,
              .decided = decided,
              .beforeGauge = beforeGauge,
              .settled = settled});
}

} // namespace

int main(int argc, char** argv) {
    // For developers: a debug server on the USB serial line instead of the shell.
    const bool debugServer = argc == 2 && std::string_view(argv[1]) == "--serial-debugger";
    if (argc > 1 && !debugServer) {
        std::cerr << "usage: vantorel-app [--serial-debugger]\n";
        return 2;
    }
    try {
        return Run(debugServer);
    } catch (const CameraError& error) {
        std::cerr << "Camera: " << error.Text() << " (" << error.Value() << ")\n";
    } catch (const Error& error) {
        std::cerr << "Cannot start: " << error.ToString() << " (" << error.Value() << ")\n";
    } catch (const std::exception& error) {
        std::cerr << "Cannot start: " << error.what() << '\n';
    }
    return 1;
}
