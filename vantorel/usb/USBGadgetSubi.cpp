// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/usb/USBGadgetSubi.h"

#include "vantorel/camera/Camera.h"
#include "vantorel/camera/private/FrameHeader.h"
#include "vantorel/service/private/LittleEndian.h"
#include "vantorel/service/private/OrThrow.h"
#include "vantorel/service/private/Sys.h"
#include "vantorel/system/Tools.h"
#include "vantorel/usb/private/SubiDescriptors.h"
#include "vantorel/usb/private/SubiEndpoint.h"
#include "vantorel/usb/private/SubiProtocol.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>

namespace vantorel {
namespace {

/** Endpoint zero, with the function's observers. */
class EndpointZero final : public SubiEndpoint {
public:
    EndpointZero(const UniqueFd& opened, const ObserverList<USBGadgetObserver>& listeners,
                 USBGadget& subject)
        : endpoint(opened), observers(listeners), gadget(subject) {}

    ssize_t Read(void* data, std::size_t size) override {
        return sys::Read(endpoint.Get(), data, size);
    }
    ssize_t Write(const void* data, std::size_t size) override {
        return sys::Write(endpoint.Get(), data, size);
    }
    void RequestSessionStart() override {
        observers.Notify(&USBGadgetObserver::OnUSBGadgetStartCaptureSessionRequest, gadget);
    }
    void RequestSessionStop() override {
        observers.Notify(&USBGadgetObserver::OnUSBGadgetStopCaptureSessionRequest, gadget);
    }

private:
    const UniqueFd& endpoint;
    const ObserverList<USBGadgetObserver>& observers;
    USBGadget& gadget;
};

} // namespace

USBGadgetSubi::USBGadgetSubi(std::string gadgetName, std::string controller)
    : USBGadget(std::move(gadgetName), "ffs.subi", std::move(controller)),
      Service(std::chrono::milliseconds(0)),
      wake(OrThrow(sys::Eventfd(0, EFD_CLOEXEC))) {}

USBGadgetSubi::~USBGadgetSubi() {
    TerminateIfJoinable();
}

void USBGadgetSubi::OnAdd() {
    CreateFunction();
    Tools::Mkdir(mountDirectory);
    Tools::Mount("subi.usb" + gadgetIndex, mountDirectory, "functionfs", false);
    if (!OpenEndpointZero()) {
        return;
    }
    try {
        LinkFunction(); // the kernel accepts it only after the descriptors
    } catch (...) {
        endpointZero.Reset(); // while it is open, the kernel refuses the next start's descriptors
        throw;
    }

    auto roicId = roicIdPromise.get_future().get();
    auto chipId = chipIdPromise.get_future().get();
    auto serialNumber = serialNumberPromise.get_future().get();
    auto firmware = firmwarePromise.get_future().get();
    auto factorySettings = factorySettingsPromise.get_future().get();
    identity.Store(std::make_shared<const SubiIdentity>(
        SubiIdentity{*roicId, *chipId, *serialNumber, *firmware, *factorySettings}));
    Start();
}

bool USBGadgetSubi::OpenEndpointZero() {
    UniqueFd opened(sys::Open((mountDirectory + "/ep0").c_str(), O_RDWR | O_CLOEXEC, 0));
    if (!opened ||
        sys::Write(opened.Get(), subi::descriptors.data(), subi::descriptors.size()) < 0 ||
        sys::Write(opened.Get(), subi::strings.data(), subi::strings.size()) < 0) {
        return false; // a function that is already running keeps its descriptor
    }
    endpointZero = std::move(opened);
    return true;
}

void USBGadgetSubi::OnRemove() noexcept {
    const std::uint64_t one = 1;
    static_cast<void>(sys::Write(wake.Get(), &one, sizeof one));
    Stop();
    endpointZero.Reset();
    UnlinkFunction();
    Tools::Umount(mountDirectory);
    RemoveFunction();
}

void USBGadgetSubi::ServiceFunction() {
    if (WaitForEvent()) {
        EndpointZero endpoint(endpointZero, observers, *this);
        SubiProtocol(endpoint, protocol, identity.Load(), latestHeaderValue).ServeEvent();
    }
}

/** Returns false when OnRemove() ended the wait. */
bool USBGadgetSubi::WaitForEvent() const {
    // A thread that blocks in read() would delay every unbinding of the port: the kernel waits for
    // such a read before it releases the function.
    pollfd waits[] = {{endpointZero.Get(), POLLIN, 0}, {wake.Get(), POLLIN, 0}};
    while (endpointZero) {
        if (sys::Poll(waits, 2, -1) >= 0) {
            return (waits[1].revents & POLLIN) == 0;
        }
        if (errno != EINTR) { // after a signal, poll again: a read would block
            break;
        }
    }
    return true; // the read reports the error
}

void USBGadgetSubi::OnBind() noexcept {}
void USBGadgetSubi::OnUnbind() noexcept {}

void USBGadgetSubi::OnCameraConnect(Camera& camera) {
    auto roicId = std::make_unique<std::uint16_t>(std::uint16_t{0});
    ::kirocamera_get_roic_id(camera.Handle(), roicId.get());
    roicIdPromise.set_value(std::move(roicId));

    auto chipId = std::make_unique<Text>();
    ::kirocamera_get_chipid(camera.Handle(), chipId->data());
    chipIdPromise.set_value(std::move(chipId));

    auto serialNumber = std::make_unique<Text>();
    ::kirocamera_get_serial_number(camera.Handle(), serialNumber->data());
    serialNumberPromise.set_value(std::move(serialNumber));

    auto firmware = std::make_unique<kirocamera_firmware_version_t>();
    ::kirocamera_get_firmware_version(camera.Handle(), firmware.get());
    firmwarePromise.set_value(std::move(firmware));

    auto factorySettings = std::make_unique<FactorySettings>();
    ::kirocamera_get_factory_settings(camera.Handle(), factorySettings->data());
    factorySettingsPromise.set_value(std::move(factorySettings));
}

void USBGadgetSubi::OnCameraDisconnect(Camera&) noexcept {
    identity.Store(nullptr);
}
void USBGadgetSubi::OnCameraCaptureSessionStart(Camera&) noexcept {
    protocol.captureSession = 1;
}
void USBGadgetSubi::OnCameraCaptureSessionStop(Camera&) noexcept {
    protocol.captureSession = 0;
}

void USBGadgetSubi::OnCameraFrameAvailable(Camera&, kirocamera_frame_t* frame) noexcept {
    kiroframe_t* image = nullptr;
    if (::kirocamera_frame_get_frame_by_format(frame, KIROCAMERA_FORMAT_DISPLAY, &image) != 0) {
        return;
    }
    if (const std::uint8_t* header = frameheader::WithTemperatures(image)) {
        latestHeaderValue = LoadLe<float>(header + frameheader::spotTemperature);
    }
}

void USBGadgetSubi::OnCameraError(Camera&, kirocamera_error_t) noexcept {}

} // namespace vantorel
