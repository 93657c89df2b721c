// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// The operations whose system calls fail: every constructor and operation that makes one.

#include "tests/faults/Faults.h"

#include "tests/support/CameraSimulator.h"
#include "tests/support/PrivateRoot.h"
#include "tests/support/UISimulator.h"
#include "tests/support/kernel/Drm.h"
#include "tests/support/kernel/Endpoint.h"
#include "tests/support/kernel/I2c.h"
#include "tests/support/kernel/Loop.h"
#include "vantorel/camera/Camera.h"
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
#include "vantorel/logger/Logger.h"
#include "vantorel/logger/LoggerService.h"
#include "vantorel/power/ConnectionManager.h"
#include "vantorel/power/PowerManager.h"
#include "vantorel/service/Error.h"
#include "vantorel/system/Filesystem.h"
#include "vantorel/system/Firstboot.h"
#include "vantorel/system/Tools.h"
#include "vantorel/ui/UserInterfaceManager.h"
#include "vantorel/ui/Version.h"
#include "vantorel/update/FirmwareUpdateManager.h"
#include "vantorel/usb/USB.h"
#include "vantorel/usb/USBGadgetMassStorage.h"
#include "vantorel/usb/USBGadgetRndis.h"
#include "vantorel/usb/USBGadgetSerial.h"
#include "vantorel/usb/USBGadgetSubi.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string_view>
#include <thread>

#include <linux/input.h>

namespace vantorel::test {
namespace {

struct Drivers {
    explicit Drivers(Faults& faults) : ioctls(faults.sys) { chip.opensLines = false; }
    IoctlRecorder ioctls;
    FakeLoop loop{ioctls, 3};
    FakeChip chip{ioctls, GPIO_V2_LINE_FLAG_INPUT};
};

/** Records errors that observers receive, and names the stages of an update. */
struct Reporter final : ButtonObserver,
                        ConnectionObserver,
                        FirmwareUpdateObserver,
                        LCDObserver,
                        ThermometerObserver {
    explicit Reporter(Faults& into) : faults(into) {}
    void Report(const Error& error) {
        faults.reported = error.Value();
        ended = true;
    }
    void OnButtonUp(Button&) override {}
    void OnButtonDown(Button&) override {}
    void OnButtonError(Button&, Error& error) override { Report(error); }
    void OnConnectionStateChanged(ConnectionState, ConnectionState) override {}
    void OnConnectionError(Error& error) override { Report(error); }
    void OnFirmwareUpdateFileFound(FirmwareUpdateManager&) override { faults.At("unpacking"); }
    void OnFirmwareUpdateFileValid(FirmwareUpdateManager&) override {}
    void OnFirmwareUpdateBegin(FirmwareUpdateManager&) override { faults.At("writing"); }
    void OnFirmwareUpdateInProgress(FirmwareUpdateManager&, std::uint8_t) override {}
    void OnFirmwareUpdateComplete(FirmwareUpdateManager&) override { ended = true; }
    void OnFirmwareUpdateError(FirmwareUpdateManager&, Error& error) override { Report(error); }
    void OnLCDDraw(LCD&, std::uint32_t*) override {}
    void OnLCDError(LCD&, Error& error) override { Report(error); }
    void OnThermometerTemperatureQuery(Thermometer&, float) override {}
    void OnThermometerError(Thermometer&, Error& error) override { Report(error); }
    Faults& faults;
    bool ended = false;
};

/** One cycle of a service that a reporter observes. */
template <typename Service>
void Serve(Faults& faults, Service&& service) {
    Reporter reporter(faults);
    service.AddObserver(reporter);
    service.ServiceFunction();
}

/** Waits for the detached workers, until this is the only thread. */
void WaitForWorkers() {
    const auto threads = [] {
        const std::filesystem::directory_iterator entries("/kernel/self/task");
        return std::distance(begin(entries), end(entries));
    };
    while (threads() > 1) {
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
}

void UseSensors(Faults& faults) {
    const Drivers drivers(faults);
    faults.Arm();
    faults.At("charger");
    Charger charger("charger", "/charger/");
    charger.IsConnected();
    charger.IsCharging();
    faults.At("fixture");
    TestFixture fixture("fixture", "/gpio");
    fixture.IsConnected();
    faults.At("thermometer");
    Thermometer thermometer("thermometer", "/temperature");
    Serve(faults, ThermometerService(thermometer, std::chrono::milliseconds(0)));
    faults.At("torch");
    Torch torch("torch", "/torch/");
    torch.On();
    torch.OnConnectionStateChanged(ConnectionState::Host, ConnectionState::Battery);
    faults.At("power off");
    PowerManager().OnUserInterfacePowerOffRequest();
    faults.At("log folder");
    std::filesystem::create_directories("/log");
    Logger logger("/log/");
    faults.At("log");
    LoggerEntry entry = logger.CreateEntry();
    for (int line = 0; line < 300; ++line) { // more than the stream's buffer holds
        logger.AddEntry(entry, std::chrono::seconds(line));
    }
    logger.Flush();
}

void UseButton(Faults& faults) {
    // Events were dropped; the device then says that the key is up, as before.
    faults.sys->Read = [next = SYN_DROPPED](int, void* record, std::size_t size) mutable {
        static_cast<InputEventRecord*>(record)->code = static_cast<std::uint16_t>(next);
        next = KEY_POWER;
        return static_cast<ssize_t>(size);
    };
    faults.sys->Ioctl = [](auto...) { return 0; };
    faults.Arm();
    faults.At("button");
    Button button("button", "/buttons", KEY_POWER);
    Serve(faults, ButtonService(button));
}

void UseDisplay(Faults& faults) {
    struct Card : FakeCard {
        using FakeCard::FakeCard;
        ~Card() { EXPECT_TRUE(mapped.empty()); }
    } card(faults.sys);
    faults.Arm();
    faults.At("display");
    LCD lcd("lcd", "/card");
    faults.At("showing");
    Serve(faults, LCDService(lcd));
    Serve(faults, LCDService(lcd));
    faults.At("closing");
}

void UseGauge(Faults& faults) {
    FakeBus bus(faults.sys);
    bus.answering.insert(0x0B);
    WriteFile("/tmp/var/update/bqfs", "W: AA 00 01 02\nC: AA 00 00\nX: 5\n");
    faults.Arm();
    faults.At("gauge");
    FuelGauge gauge("gauge", "/i2c", "/gpio", 3);
    std::uint8_t byte = 0;
    gauge.ReadRegister(0x0A, &byte, sizeof byte);
    gauge.Read(&byte, sizeof byte);
    gauge.Write(&byte, sizeof byte);
    faults.At("gauge reading");
    static_cast<void>(gauge.Level() + gauge.Current());
    static_cast<void>(gauge.Voltage() + gauge.Temperature());
    faults.At("gauge battery");
    gauge.IsBatteryConnected();
    faults.At("gauge reset");
    gauge.Reset();
    faults.At("gauge stream");
    gauge.ExecuteFlashStream();
    faults.At("gauge update");
    gauge.Update();
}

/** Uses the tools that no other scenario uses, and each way to start a program. */
void UseTools(Faults& faults) {
    faults.Arm();
    faults.At("tools");
    Tools::Rmmod("m");
    Tools::FwSetEnv("a", "b");
    faults.Reap(Tools::GettyStart("a", "9600"));
    faults.Reap(Tools::ShStart("a"));
    Tools::Mkdir("/d");
    Tools::Rmdir("/d");
    Tools::Unlink("/d");
    Tools::Mount("a", "/d", "vfat", true);
    Tools::Remount("/d", false);
    Tools::Umount("/d");
    Tools::PidOf("/bin/true");
    Tools::GetFd(77, "/none");
}

/** A gadget's whole life cycle; a failed step ends it. */
void Live(Faults& faults, USBGadget& gadget) {
    faults.At("adding");
    gadget.OnAdd();
    faults.At("binding");
    gadget.OnBind();
    WaitForWorkers();
    faults.At("unbinding");
    gadget.OnUnbind();
    faults.At("removing");
    gadget.OnRemove();
}

void UseSerial(Faults& faults) {
    faults.sys->Stat = [](const char* path, struct stat* status) {
        *status = {};
        return std::string_view(path).starts_with("/dev/ttyGS") ? 0 : FailWith(ENOENT);
    };
    faults.Arm();
    for (const bool withDebugger : {false, true}) {
        USBGadgetSerial gadget("serial", "udc.0", withDebugger, true);
        Live(faults, gadget);
    }
}

void UseRndis(Faults& faults) {
    faults.Arm();
    USBGadgetRndis gadget("rndis", "udc.0");
    Live(faults, gadget);
}

void UseMassStorage(Faults& faults) {
    const Drivers drivers(faults);
    faults.Arm();
    faults.At("disk");
    USBGadgetMassStorage gadget("disk", "udc.0", "KIRO", 1'000'000, false);
    faults.At("remounting");
    gadget.Storage().Remount();
    Live(faults, gadget);
    faults.At("unmounting");
}

void UsePort(Faults& faults) {
    ManualCamera sdk;
    Camera camera(kirocamera_sim_get_camera());
    FakeBus bus(faults.sys);
    faults.Arm();
    faults.At("port");
    Charger charger("charger", "/charger/");
    FuelGauge gauge("gauge", "/i2c", "/gpio", 3);
    USB usb("usb", "udc.0");
    usb.OnCameraConnect(camera);
    faults.At("gauge battery");
    Serve(faults, ConnectionManager(charger, gauge, usb, std::chrono::milliseconds(0)));
}

/** Fakes the kernel's side of the vendor function: endless requests for the kernel's log. */
void RequestLog(Faults& faults) {
    faults.sys->Poll = [owner = std::this_thread::get_id()](pollfd* waits, nfds_t, int) {
        // This thread gets requests. The function's own is always woken, as if it had to end.
        const bool isOwner = std::this_thread::get_id() == owner;
        waits[isOwner ? 0 : 1].revents = POLLIN;
        std::this_thread::sleep_for(std::chrono::microseconds(isOwner ? 0 : 50));
        return 1;
    };
    faults.sys->Read = [zero = EndpointZero(), selects = false](int, void* data,
                                                                std::size_t size) mutable {
        if (size == subiEventSize) {
            selects = !selects;
            zero.Begin(selects ? SetupPacket(0x41, 85, 2) : SetupPacket(0xc1, 78, 4), Word(13));
        }
        return zero.Read(data, size);
    };
    faults.sys->Write = [](int, const void*, std::size_t size) {
        return static_cast<ssize_t>(size);
    };
}

void UseSubi(Faults& faults) {
    ManualCamera sdk;
    Camera camera(kirocamera_sim_get_camera());
    RequestLog(faults);
    faults.Arm(false);
    faults.At("function");
    USBGadgetSubi subi("subi", "udc.0");
    subi.OnCameraConnect(camera);
    faults.At("coming up");
    subi.OnAdd();
    faults.At("serving");
    for (int count = 0; count < 4; ++count) {
        subi.ServiceFunction();
    }
    faults.At("removing");
    subi.OnRemove();
}

void UseUpdate(Faults& faults) {
    std::filesystem::remove_all("/tmp/update");
    std::filesystem::create_directories("/tmp/update");
    faults.onFork = [] { // every program unpacks the archive
        for (const char* member : {"fit", "rootfs", "bqfs"}) {
            WriteFile(std::string("/tmp/update/") + member, "new");
        }
    };
    faults.Arm();
    faults.At("drive");
    Filesystem drive("/dev/x", "/drive", "none", false, true);
    FirmwareUpdateManager manager(drive);
    Reporter reporter(faults);
    manager.AddObserver(reporter);
    faults.At("polling");
    for (int poll = 0; poll < 10 && !reporter.ended; ++poll) {
        manager.ServiceFunction();
    }
    EXPECT_TRUE(reporter.ended) << "the update was not repeated";
    faults.At("unmounting");
}

/** The files of the device's state, and the classes that make no system call of their own. */
void UseCamera(Faults& faults) {
    WriteFile("/etc/kiro/revision", "REV-6\n");
    WriteFile("/etc/kiro/version", "1.5.0\n");
    std::filesystem::create_directories("/log");
    faults.Arm();
    faults.At("camera");
    UserInterfaceManager screen;
    ManualCamera sdk;
    CameraManager camera(0);
    faults.At("log folder");
    Logger logger("/log/");
    faults.At("state");
    camera.AddObserver(screen);
    camera.AddObserver(logger);
    camera.Start();
    sdk.Connect();
    camera.OnConnectionStateChanged(ConnectionState::NoHost, ConnectionState::Undetermined);
    sdk.Frame();
    LoggerService(logger, std::chrono::milliseconds(0)).ServiceFunction();
    vantorelui_sim_event(VANTORELUI_EVENT_UNITS_CHANGED);
    Firstboot().Clear();
    static_cast<void>(Firstboot().Value());
    static_cast<void>(Version());
}

constexpr Scenario list[] = {
    {"Camera", UseCamera},   {"Sensors", UseSensors}, {"Button", UseButton},
    {"Display", UseDisplay}, {"Gauge", UseGauge},     {"Tools", UseTools},
    {"Serial", UseSerial},   {"Rndis", UseRndis, 2},  {"Disk", UseMassStorage},
    {"Port", UsePort},       {"Subi", UseSubi},       {"Update", UseUpdate}};

} // namespace

std::span<const Scenario> Scenarios() {
    return list;
}

} // namespace vantorel::test
