// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// An observer that blocks delays only its own subject, and those that need a lock which the subject
// holds: the others continue, and its own continues when it returns. docs/architecture.md states
// which threads wait for which subject.

#include "tests/chaos/Machine.h"
#include "tests/support/CameraSimulator.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/ui/DeviceFiles.h"
#include "vantorel/camera/CameraManager.h"
#include "vantorel/devices/Button.h"
#include "vantorel/devices/ButtonService.h"
#include "vantorel/devices/Charger.h"
#include "vantorel/devices/LCD.h"
#include "vantorel/devices/LCDService.h"
#include "vantorel/devices/Thermometer.h"
#include "vantorel/devices/ThermometerService.h"
#include "vantorel/fuelgauge/FuelGauge.h"
#include "vantorel/fuelgauge/FuelGaugeService.h"
#include "vantorel/logger/Logger.h"
#include "vantorel/logger/LoggerService.h"
#include "vantorel/power/ConnectionManager.h"
#include "vantorel/service/Error.h"
#include "vantorel/system/Filesystem.h"
#include "vantorel/ui/UserInterfaceManager.h"
#include "vantorel/update/FirmwareUpdateManager.h"
#include "vantorel/usb/USB.h"
#include "vantorel/usb/USBGadgetSubi.h"

#include <VantorelUI.h>
#include <VantorelUI_sim.h>

#include <gtest/gtest.h>

#include <semaphore>
#include <set>

/** Replaces the UI library's function: raises a request while the screen changes. */
void SelectErrorScreen(void) {
    vantorelui_sim_event(VANTORELUI_EVENT_POWER_OFF);
}

namespace vantorel {
namespace {

enum Subject {
    button,
    display,
    thermometer,
    gauge,
    logger,
    connection,
    update,
    frames,  // of the camera
    events,  // of the camera
    control, // the vendor function
    user,    // the UI library's requests, on a thread of its own
    drawing, // the same while it renders
    screens, // the same while it selects a screen
    changes, // other threads' changes of the screen
    subjects
};

/** The subjects that wait as well, for the locks of rendering and of screen changes. */
const std::map<int, std::set<int>> alsoWaiting = {
    {display, {drawing}}, {drawing, {display, frames}}, {screens, {changes}}};

/** Counts the notifications of each subject and can block in those of one subject. */
class Observer final : public ButtonObserver,
                       public LCDObserver,
                       public ThermometerObserver,
                       public FuelGaugeObserver,
                       public LoggerObserver,
                       public ConnectionObserver,
                       public FirmwareUpdateObserver,
                       public CameraObserver,
                       public USBGadgetObserver,
                       public UserInterfaceObserver {
public:
    void OnButtonUp(Button&) override { Note(button); }
    void OnButtonDown(Button&) override { Note(button); }
    void OnButtonError(Button&, Error&) override {}
    void OnLCDDraw(LCD&, std::uint32_t*) override { Note(display); }
    void OnLCDError(LCD&, Error&) override {}
    void OnThermometerTemperatureQuery(Thermometer&, float) override { Note(thermometer); }
    void OnThermometerError(Thermometer&, Error&) override {}
    void OnFuelGaugeLevelQuery(FuelGauge&, std::uint8_t) override { Note(gauge); }
    void OnFuelGaugeCurrentQuery(FuelGauge&, std::int16_t) override {}
    void OnFuelGaugeVoltageQuery(FuelGauge&, float) override {}
    void OnFuelGaugeTemperatureQuery(FuelGauge&, float) override {}
    void OnFuelGaugeError(FuelGauge&, Error&) override {}
    void OnLoggerNewEntry(Logger&, LoggerEntry&) override { Note(logger); }
    void OnLoggerError(Logger&, Error&) override {}
    void OnConnectionStateChanged(ConnectionState, ConnectionState) override {}
    void OnConnectionError(Error&) override { Note(connection); }
    void OnFirmwareUpdateFileFound(FirmwareUpdateManager&) override { Note(update); }
    void OnFirmwareUpdateFileValid(FirmwareUpdateManager&) override {}
    void OnFirmwareUpdateBegin(FirmwareUpdateManager&) override {}
    void OnFirmwareUpdateInProgress(FirmwareUpdateManager&, std::uint8_t) override {}
    void OnFirmwareUpdateComplete(FirmwareUpdateManager&) override {}
    void OnFirmwareUpdateError(FirmwareUpdateManager&, Error&) override {}
    void OnCameraFrameAvailable(Camera&, kirocamera_frame_t*) override { Note(frames); }
    void OnCameraError(Camera&, kirocamera_error_t) override { Note(events); }
    void OnUSBGadgetStopCaptureSessionRequest(USBGadget&) override { Note(control); }
    void OnUSBGadgetStartCaptureSessionRequest(USBGadget&) override {}
    void OnUSBGadgetError(USBGadget&, Error&) override {}
    void OnUserInterfacePowerOffRequest() override { Note(screens); }
    void OnUserInterfaceTorchOnRequest() override { Note(user); }
    void OnUserInterfaceTorchOffRequest() override { Note(drawing); }
    void OnUserInterfacePowerButtonDoubleClick() override {}
    void OnUserInterfaceTorchButtonDoubleClick() override {}

    /** Returns whether a subject notifies three more times. */
    bool GoesOn(int subject) {
        const int before = Count(subject);
        return test::Eventually([&] { return Count(subject) >= before + 3; });
    }
    void Block(int subject) {
        blocked = subject;
        isBlocked.acquire();
    }
    void Release() {
        blocked = subjects;
        released.release();
    }
    int Count(int subject) const { return counts.at(static_cast<std::size_t>(subject)); }

    void Note(Subject subject) {
        ++counts.at(subject);
        if (blocked == subject) {
            isBlocked.release();
            released.acquire();
        }
    }

private:
    std::array<std::atomic<int>, subjects> counts{};
    std::atomic<int> blocked{subjects};
    std::binary_semaphore isBlocked{0};
    std::binary_semaphore released{0};
};

/** A device on which every subject notifies without end. */
struct Subjects {
    Subjects() {
        machine.chargerError = EIO;
        machine.toolStatus = 1; // each archive is refused, and found again
        keys.AddObserver(observer);
        lcdService.AddObserver(screen);
        lcdService.AddObserver(observer);
        temperatures.AddObserver(observer);
        levels.AddObserver(observer);
        lines.AddObserver(observer);
        manager.AddObserver(observer);
        updates.AddObserver(observer);
        camera.AddObserver(screen);
        camera.AddObserver(subi);
        camera.AddObserver(observer);
        subi.AddObserver(observer);
        screen.AddObserver(observer);
        test::WriteFile("/tmp/drive/THERMAL.STR", "archive");
        vantorelui_sim_set_render_image(nullptr); // drawing takes time
        vantorelui_sim_set_render_hook(
            [](void*) { vantorelui_sim_event(VANTORELUI_EVENT_TORCH_OFF); }, nullptr);
        camera.Start();
        sdk.Connect();
        camera.OnConnectionStateChanged(ConnectionState::NoHost, ConnectionState::Undetermined);
        subi.OnAdd();
        for (Service* service : services) {
            service->Start();
        }
        causes = {Repeat([this, edges = 0]() mutable {
                      if (observer.Count(button) == edges) { // else the pipe could fill
                          machine.Key(board::powerKey, ++edges % 2);
                      }
                  }),
                  Repeat([this] { sdk.Frame(); }),
                  Repeat([this] { sdk.Fail(-1); }),
                  Repeat([] { vantorelui_sim_event(VANTORELUI_EVENT_TORCH_ON); }),
                  Repeat([this] { screen.TransitionToState(UserInterfaceState::Fault); }),
                  Repeat([this] {
                      screen.TransitionToState(UserInterfaceState::Splash); // has no effect
                      observer.Note(changes);
                  })};
        host = Repeat([this] { machine.endpoint.Out(84, test::Word(2)); });
    }
    ~Subjects() {
        for (Service* service : services) {
            service->Stop();
        }
        host = {}; // waits for its last reply
        subi.OnRemove();
    }

    /** A thread that causes events. */
    template <typename Cause>
    static std::jthread Repeat(Cause cause) {
        return std::jthread([cause](const std::stop_token& end) mutable {
            while (!end.stop_requested()) {
                cause();
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
    }

    static constexpr std::chrono::milliseconds pause{50}; // the machine shortens it to 1 ms
    const test::CapturedOutput output;
    const test::TemporaryDirectory files;
    test::Machine machine;
    test::ManualCamera sdk;
    Charger charger{"charger", board::charger};
    USB usb{"usb", board::usbController};
    Button key{"power", board::buttons, board::powerKey};
    LCD lcd{"lcd", board::display};
    Thermometer sensor{"board", board::boardTemperature};
    FuelGauge battery{"gauge", board::fuelGaugeBus, board::gpioChip, board::fuelGaugeLine};
    Logger log{files / ""};
    Filesystem drive{"/dev/x", "/tmp/drive", "none", false, true};
    CameraManager camera{0};
    USBGadgetSubi subi{"subi", board::usbController};
    UserInterfaceManager screen;
    Observer observer;
    ButtonService keys{key};
    LCDService lcdService{lcd};
    ThermometerService temperatures{sensor, pause};
    FuelGaugeService levels{battery, pause};
    LoggerService lines{log, pause};
    ConnectionManager manager{charger, battery, usb, pause};
    FirmwareUpdateManager updates{drive};
    const std::array<Service*, 7> services{&keys,  &lcdService, &temperatures, &levels,
                                           &lines, &manager,    &updates};
    std::array<std::jthread, 6> causes;
    std::jthread host;
};

TEST(BlockedObserver, HoldsUpItsOwnSubjectOnly) {
    VANTOREL_NEED_PRIVATE_MOUNTS();
    test::ReplaceDeviceFiles("REV-6\n", "4.2\n");
    test::WriteFile("/tmp/cmdline", "image_select=0\n");
    test::Must(::mount("/tmp/cmdline", "/proc/cmdline", nullptr, MS_BIND, nullptr));
    vantorelui_sim_reset();
    Subjects device;
    Observer& observer = device.observer;
    for (int blocked = 0; blocked < subjects; ++blocked) {
        ASSERT_TRUE(observer.GoesOn(blocked)) << blocked;
        observer.Block(blocked);
        const auto found = alsoWaiting.find(blocked);
        std::map<int, int> waiting = {{blocked, observer.Count(blocked)}};
        for (int other = 0; other < subjects; ++other) {
            if (found != alsoWaiting.end() && found->second.contains(other)) {
                // One notification may have passed the lock before.
                waiting[other] = observer.Count(other) + 1;
            } else if (other != blocked) {
                EXPECT_TRUE(observer.GoesOn(other)) << other << " waits for " << blocked;
            }
        }
        for (const auto& [subject, most] : waiting) {
            EXPECT_LE(observer.Count(subject), most) << subject << " does not wait for " << blocked;
        }
        observer.Release();
        EXPECT_TRUE(observer.GoesOn(blocked)) << blocked;
    }
}

} // namespace
} // namespace vantorel
