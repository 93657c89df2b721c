// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/CameraObserver.h"
#include "vantorel/service/ConnectionObserver.h"
#include "vantorel/service/SnapshotSlot.h"
#include "vantorel/service/USBGadgetObserver.h"
#include "vantorel/service/UserInterfaceObserver.h"

#include <memory>
#include <vector>

namespace vantorel {

class Camera;

/**
 * Owner of the camera SDK: turns its callbacks into notifications of CameraObservers and forwards
 * the other subjects' notifications to the connected camera. It handles one camera at a time and
 * ignores a second one until the first disconnects.
 *
 * Notifications run on the SDK's threads in the order of registration, the Camera last; the Camera
 * sends those of a session. The SDK must deliver frames and events on different threads, because
 * recovery from an error waits for a frame. Frames may overlap on several threads. Each frame uses
 * the observers and the camera that were current when it arrived. A frame may reach observers
 * before OnCameraConnect().
 *
 * Thread-safe once the observers are added.
 *
 * When an observer that is not a Camera is registered, a disconnect event first notifies every
 * observer and then throws std::bad_cast; the camera stays current. If it precedes all other
 * observers, it receives no more frames or errors, only what this manager forwards. On the device
 * the exception ends the process, and the product's supervisor restarts it. That is how the system
 * recovers from an unplugged camera.
 */
class VANTOREL_EXPORT CameraManager final : public ConnectionObserver,
                                            public USBGadgetObserver,
                                            public UserInterfaceObserver {
public:
    /**
     * Creates the SDK's manager.
     * @param discoveryMode passed to the SDK unchanged
     * @throws CameraError with the SDK's code
     */
    explicit CameraManager(unsigned int discoveryMode);
    CameraManager(const CameraManager&) = delete;
    CameraManager& operator=(const CameraManager&) = delete;
    /** Ends the SDK's callbacks before it destroys anything else. */
    ~CameraManager() override;

    /**
     * Starts the delivery of events; a camera already present is reported at once.
     * @throws CameraError with the SDK's code
     */
    void Start();

    /**
     * Adds an observer, which receives events and frames from the next one on. Call it before
     * Start().
     */
    void AddObserver(CameraObserver& observer);

    /**
     * The SDK's event callback; `user` is the manager.
     * @throws CameraError when a new camera refuses the frame callback; it then stays current, and
     *         no observer is notified
     * @throws std::bad_cast at a disconnect, as described above
     */
    static void Event(kirocamera_t* camera, kirocamera_manager_event_t event,
                      kirocamera_error_t error, void* user);
    /** The SDK's frame callback; `user` is the manager. Does nothing without a current camera. */
    static void FrameAvailable(kirocamera_t* camera, kirocamera_frame_t* frame, void* user);

    void OnConnectionStateChanged(ConnectionState newState, ConnectionState oldState) override;
    void OnConnectionError(Error& error) override;

    void OnUSBGadgetStopCaptureSessionRequest(USBGadget& gadget) override;
    void OnUSBGadgetStartCaptureSessionRequest(USBGadget& gadget) override;
    void OnUSBGadgetError(USBGadget& gadget, Error& error) override;

    void OnUserInterfacePowerOffRequest() override;
    void OnUserInterfaceTorchOnRequest() override;
    void OnUserInterfaceTorchOffRequest() override;
    void OnUserInterfacePowerButtonDoubleClick() override;
    void OnUserInterfaceTorchButtonDoubleClick() override;

private:
    /**
     * The current camera and its observers, replaced as a whole: the SDK's threads and the
     * subjects' threads each work on the wiring that they read, which keeps its camera alive.
     */
    struct Wiring {
        std::shared_ptr<Camera> camera;
        std::vector<CameraObserver*> observers;
    };
    struct ManagerDestroyer {
        void operator()(kirocamera_manager_t* manager) const;
    };

    template <typename... Parameters, typename... Arguments>
    static void Notify(const Wiring& now, void (CameraObserver::*operation)(Camera&, Parameters...),
                       Arguments... arguments);
    /** Calls an operation of the current camera, if there is one. */
    template <typename... Parameters, typename... Arguments>
    void Forward(void (Camera::*operation)(Parameters...) noexcept, Arguments&... arguments) const;
    void Connect(kirocamera_t* handle);
    void Disconnect();
    void Fail(kirocamera_error_t error);

    std::unique_ptr<kirocamera_manager_t, ManagerDestroyer> manager;
    SnapshotSlot<Wiring> wiring{Wiring{}};
};

} // namespace vantorel
