// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Export.h"

#include <kirocamera.h>

namespace vantorel {

class Camera;

/**
 * Receives what the CameraManager reports, on the camera SDK's threads: events on one, frames on
 * others. Frames may overlap on several threads, and a frame may arrive before OnCameraConnect().
 * The session notifications run on the thread that starts or stops the session. That thread holds
 * the session's lock: an observer must not start or stop a session from them. An observer must be
 * thread-safe.
 *
 * The operations have empty bodies, unlike those of the other interfaces.
 */
class VANTOREL_EXPORT CameraObserver {
public:
    /** A camera connected. The reference is valid until OnCameraDisconnect() returns. */
    virtual void OnCameraConnect(Camera& /*camera*/) {}
    /** The camera disconnected. */
    virtual void OnCameraDisconnect(Camera& /*camera*/) {}
    /** The camera starts to deliver frames. */
    virtual void OnCameraCaptureSessionStart(Camera& /*camera*/) {}
    /** The camera has stopped delivering frames. */
    virtual void OnCameraCaptureSessionStop(Camera& /*camera*/) {}
    /** A frame arrived; it is valid during the call only. */
    virtual void OnCameraFrameAvailable(Camera& /*camera*/, kirocamera_frame_t* /*frame*/) {}
    /** The camera failed with a code of the SDK. */
    virtual void OnCameraError(Camera& /*camera*/, kirocamera_error_t /*error*/) {}
    virtual ~CameraObserver() = 0;
};

inline CameraObserver::~CameraObserver() = default;

} // namespace vantorel
