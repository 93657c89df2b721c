// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/camera/CameraManager.h"

#include "vantorel/camera/Camera.h"
#include "vantorel/camera/CameraError.h"

#include <utility>

namespace vantorel {

void CameraManager::ManagerDestroyer::operator()(kirocamera_manager_t* handle) const {
    ::kirocamera_manager_destroy(handle);
}

CameraManager::CameraManager(unsigned int discoveryMode) {
    kirocamera_manager_t* created = nullptr;
    const kirocamera_error_t result = ::kirocamera_manager_create(&created, discoveryMode);
    if (result != 0) {
        throw CameraError(result);
    }
    manager.reset(created);
}

CameraManager::~CameraManager() {
    manager.reset();
}

void CameraManager::Start() {
    const kirocamera_error_t result =
        ::kirocamera_manager_register_event_callback(manager.get(), &CameraManager::Event, this);
    if (result != 0) {
        throw CameraError(result);
    }
}

void CameraManager::AddObserver(CameraObserver& observer) {
    Wiring changed = *wiring.Read();
    changed.observers.push_back(&observer);
    wiring.Store(std::move(changed));
}

void CameraManager::Event(kirocamera_t* camera, kirocamera_manager_event_t event,
                          kirocamera_error_t error, void* user) {
    auto& self = *static_cast<CameraManager*>(user);
    switch (event) {
    case KIROCAMERA_EVENT_CONNECT:
        self.Connect(camera);
        break;
    case KIROCAMERA_EVENT_DISCONNECT:
        self.Disconnect();
        break;
    case KIROCAMERA_EVENT_ERROR:
        self.Fail(error);
        break;
    default:
        break;
    }
}

/** Notifies the observers of a wiring about its camera. */
template <typename... Parameters, typename... Arguments>
void CameraManager::Notify(const Wiring& now,
                           void (CameraObserver::*operation)(Camera&, Parameters...),
                           Arguments... arguments) {
    for (CameraObserver* observer : now.observers) {
        (observer->*operation)(*now.camera, arguments...);
    }
}

void CameraManager::FrameAvailable(kirocamera_t*, kirocamera_frame_t* frame, void* user) {
    const auto now = static_cast<const CameraManager*>(user)->wiring.Read();
    if (now->camera != nullptr) {
        Notify(*now, &CameraObserver::OnCameraFrameAvailable, frame);
    }
}

void CameraManager::Connect(kirocamera_t* handle) {
    const auto before = wiring.Read();
    if (before->camera != nullptr) {
        return;
    }
    const auto camera = std::make_shared<Camera>(handle);
    for (CameraObserver* observer : before->observers) {
        camera->AddObserver(*observer); // for the notifications of its capture session
    }
    wiring.Store({camera, before->observers});

    const kirocamera_error_t result = ::kirocamera_register_frame_available_callback(
        handle, &CameraManager::FrameAvailable, this);
    if (result != 0) {
        throw CameraError(result);
    }
    Wiring connected = *wiring.Read();
    connected.observers.push_back(camera.get());
    wiring.Store(connected);
    Notify(connected, &CameraObserver::OnCameraConnect);
}

void CameraManager::Disconnect() {
    const auto before = wiring.Read();
    if (before->camera == nullptr) {
        return;
    }
    Notify(*before, &CameraObserver::OnCameraDisconnect);
    // The cast treats every entry as a Camera. For any other entry it throws, which makes the
    // product restart after its camera was unplugged. Skipping such an entry would leave a USB port
    // and a vendor function that can never serve the next camera.
    std::vector<CameraObserver*> remaining = before->observers;
    for (auto at = remaining.begin(); at != remaining.end();) {
        if (dynamic_cast<Camera&>(**at) == *before->camera) {
            at = remaining.erase(at);
            wiring.Store({before->camera, remaining}); // in case a later entry throws
        } else {
            ++at;
        }
    }
    wiring.Store({nullptr, std::move(remaining)});
}

void CameraManager::Fail(kirocamera_error_t error) {
    const auto now = wiring.Read();
    if (now->camera == nullptr) {
        return;
    }
    Notify(*now, &CameraObserver::OnCameraError, error);
}

template <typename... Parameters, typename... Arguments>
void CameraManager::Forward(void (Camera::*operation)(Parameters...) noexcept,
                            Arguments&... arguments) const {
    if (const auto camera = wiring.Read()->camera) {
        (*camera.*operation)(arguments...);
    }
}

void CameraManager::OnConnectionStateChanged(ConnectionState newState, ConnectionState oldState) {
    Forward(&Camera::OnConnectionStateChanged, newState, oldState);
}

void CameraManager::OnConnectionError(Error& error) {
    Forward(&Camera::OnConnectionError, error);
}

void CameraManager::OnUSBGadgetStopCaptureSessionRequest(USBGadget& gadget) {
    Forward(&Camera::OnUSBGadgetStopCaptureSessionRequest, gadget);
}

void CameraManager::OnUSBGadgetStartCaptureSessionRequest(USBGadget& gadget) {
    Forward(&Camera::OnUSBGadgetStartCaptureSessionRequest, gadget);
}

void CameraManager::OnUSBGadgetError(USBGadget& gadget, Error& error) {
    Forward(&Camera::OnUSBGadgetError, gadget, error);
}

void CameraManager::OnUserInterfacePowerOffRequest() {
    Forward(&Camera::OnUserInterfacePowerOffRequest);
}

void CameraManager::OnUserInterfaceTorchOnRequest() {
    Forward(&Camera::OnUserInterfaceTorchOnRequest);
}

void CameraManager::OnUserInterfaceTorchOffRequest() {
    Forward(&Camera::OnUserInterfaceTorchOffRequest);
}

void CameraManager::OnUserInterfacePowerButtonDoubleClick() {
    Forward(&Camera::OnUserInterfacePowerButtonDoubleClick);
}

void CameraManager::OnUserInterfaceTorchButtonDoubleClick() {
    Forward(&Camera::OnUserInterfaceTorchButtonDoubleClick);
}

} // namespace vantorel
