// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/CameraObserver.h"
#include "vantorel/service/ObserverList.h"
#include "vantorel/service/Service.h"
#include "vantorel/service/SharedSlot.h"
#include "vantorel/service/USBGadgetObserver.h"
#include "vantorel/service/UniqueFd.h"
#include "vantorel/usb/SubiState.h"
#include "vantorel/usb/USBGadget.h"

#include <atomic>
#include <cstdint>
#include <future>
#include <memory>
#include <string>

namespace vantorel {

/**
 * The vendor control function "Subi": a vendor-specific USB interface whose control requests let a
 * host read the camera's identity and factory settings, the kernel log and the system's version,
 * and start or stop the capture session.
 *
 * The function runs in user space: OnAdd() mounts FunctionFS on "/dev/subi" and writes descriptors
 * and strings to its endpoint zero, and the service thread answers the control requests that arrive
 * there. The descriptors declare a bulk endpoint that is never served. Kept: a host program may
 * rely on them.
 *
 * Thread-bound, except for the notifications: OnAdd() and OnRemove() run on the thread that
 * composes the gadget; the camera's notifications arrive on the SDK's threads; ServiceFunction()
 * owns the state of the protocol. OnAdd() starts the service and OnRemove() stops it; never call
 * Start() or Stop().
 *
 * The function refuses a request with a stall; the host reads the reason with request 53.
 * docs/usb-control.md lists the requests.
 */
class VANTOREL_EXPORT USBGadgetSubi final : public USBGadget,
                                            public CameraObserver,
                                            public Service {
public:
    /**
     * @param gadgetName name of this object
     * @param controller USB device controller, for instance "ci_hdrc.0"
     * @throws Error when the process cannot open another descriptor
     */
    USBGadgetSubi(std::string gadgetName, std::string controller);
    /** Requires that the function was removed, or never started to serve. */
    ~USBGadgetSubi() override;

    /**
     * Brings up the function and waits, without a limit, until a camera connects. Returns silently,
     * without serving requests, when endpoint zero cannot be opened or refuses the descriptors.
     * @throws Error from creating the function, the directory or the mount
     * @throws std::future_error at a second call after the function came up and was removed; while
     *     it is up, the kernel refuses a second set of descriptors
     */
    void OnAdd() override;
    /**
     * Takes down the function; call it only after an OnAdd() that brought it up. Waits without a
     * limit for a request in progress: a stop of the capture session waits for a frame, and reading
     * the kernel log can wait for its next line. An application that shuts down must bound this. On
     * a port that is still bound it also waits for data that a host announced and does not
     * transfer. A failed unlink, unmount or rmdir ends the process.
     */
    void OnRemove() noexcept override;
    void OnBind() noexcept override;
    void OnUnbind() noexcept override;

    /**
     * Waits for one event of endpoint zero and answers a control request. An exception of an
     * observer, or of the version that a host reads, ends the process.
     */
    void ServiceFunction() override;

    /** Adds a receiver of the host's session requests. Call it before OnAdd(). */
    void AddObserver(USBGadgetObserver& observer) { observers.Add(observer); }

    /**
     * Reads the camera's identity; values that the SDK does not return stay zero.
     * @throws std::future_error at the second camera: a USB device cannot change its identity
     */
    void OnCameraConnect(Camera& camera) override;
    /**
     * Drops the identity; later requests for it are refused. Before OnAdd() it drops nothing:
     * OnAdd() serves the values of the camera that has connected.
     */
    void OnCameraDisconnect(Camera& camera) noexcept override;
    void OnCameraCaptureSessionStart(Camera& camera) noexcept override;
    void OnCameraCaptureSessionStop(Camera& camera) noexcept override;
    void OnCameraFrameAvailable(Camera& camera, kirocamera_frame_t* frame) noexcept override;
    void OnCameraError(Camera& camera, kirocamera_error_t error) noexcept override;

private:
    using Text = SubiIdentity::Text;
    using FactorySettings = SubiIdentity::FactorySettings;

    bool OpenEndpointZero();
    bool WaitForEvent() const;

    UniqueFd endpointZero;
    const std::string mountDirectory = "/dev/subi";
    std::atomic<float> latestHeaderValue{0.0F};
    SharedSlot<const SubiIdentity> identity;
    std::promise<std::unique_ptr<std::uint16_t>> roicIdPromise;
    std::promise<std::unique_ptr<Text>> chipIdPromise;
    std::promise<std::unique_ptr<Text>> serialNumberPromise;
    std::promise<std::unique_ptr<kirocamera_firmware_version_t>> firmwarePromise;
    std::promise<std::unique_ptr<FactorySettings>> factorySettingsPromise;
    SubiState protocol;
    ObserverList<USBGadgetObserver> observers;
    UniqueFd wake; // an eventfd that ends the wait for a control request
};

} // namespace vantorel
