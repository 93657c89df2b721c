// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Waits for a firmware update on the USB drive and reports its progress until it ends.
#include "vantorel/camera/CameraError.h"
#include "vantorel/camera/CameraManager.h"
#include "vantorel/update/FirmwareUpdateManager.h"
#include "vantorel/usb/USB.h"
#include "vantorel/usb/USBGadgetMassStorage.h"

#include <future>
#include <iostream>

namespace {

using vantorel::FirmwareUpdateManager;

class Follower final : public vantorel::FirmwareUpdateObserver {
public:
    void OnFirmwareUpdateFileFound(FirmwareUpdateManager&) override { Print("found"); }
    void OnFirmwareUpdateFileValid(FirmwareUpdateManager&) override { Print("valid"); }
    void OnFirmwareUpdateBegin(FirmwareUpdateManager&) override { Print("begin"); }
    void OnFirmwareUpdateInProgress(FirmwareUpdateManager&, std::uint8_t percent) override {
        std::cout << "update: " << int{percent} << " %" << std::endl;
    }
    void OnFirmwareUpdateComplete(FirmwareUpdateManager&) override { ended.set_value(true); }
    void OnFirmwareUpdateError(FirmwareUpdateManager&, vantorel::Error&) override {
        ended.set_value(false);
    }
    std::promise<bool> ended;

private:
    static void Print(const char* what) { std::cout << "update: " << what << std::endl; }
};

} // namespace

int main() {
    constexpr const char* controller = "dummy_udc.0";
    try {
        vantorel::USB usb("port", controller);
        vantorel::USBGadgetMassStorage drive("drive", controller, "EXAMPLE", 64U << 20U, false);
        usb.AddGadget(drive);
        vantorel::CameraManager camera(0);
        camera.AddObserver(usb);
        camera.Start();
        usb.BindGadgets();

        FirmwareUpdateManager update(drive.Storage());
        Follower follower;
        update.AddObserver(follower);
        update.AddObserver(usb); // takes the port off the bus before flash is written
        update.OnConnectionStateChanged(vantorel::ConnectionState::Host,
                                        vantorel::ConnectionState::Undetermined);
        const bool complete = follower.ended.get_future().get();
        std::cout << (complete ? "update: complete, reboot" : "update: failed") << std::endl;
        update.Stop();
        usb.RemoveGadget(drive);
        return complete ? 0 : 1;
    } catch (const vantorel::CameraError& error) {
        std::cerr << "camera: " << error.Text() << std::endl;
        return 1;
    } catch (const vantorel::Error& error) {
        std::cerr << "update: " << error.ToString() << std::endl;
        return 1;
    }
}
