#pragma once

#include "vantorel/service/Export.h"

#include <kirocamera.h>

namespace vantorel {

class Camera;

/**
 * What the CameraManager reports, on the camera SDK's threads: frames on one, events on another, so
 * a frame may arrive before its camera's connect. The session notifications run on the thread of
 * whoever starts or stops the session, while it is locked: an observer must not start or stop one
 * from them.
 *
 * The operations have empty bodies, unlike those of the other interfaces: most observers of a
 * camera want one or two of them.
 */
class VANTOREL_EXPORT CameraObserver {
public:
    /** A camera has been found. The reference is valid until OnCameraDisconnect() returns. */
    virtual void OnCameraConnect(Camera& /*camera*/) {}
    /** The camera is gone. */
    virtual void OnCameraDisconnect(Camera& /*camera*/) {}
    /** The camera delivers frames from now on. */
    virtual void OnCameraCaptureSessionStart(Camera& /*camera*/) {}
    /** The camera delivers no more frames. */
    virtual void OnCameraCaptureSessionStop(Camera& /*camera*/) {}
    /** A frame has arrived; it is valid during the call only. */
    virtual void OnCameraFrameAvailable(Camera& /*camera*/, kirocamera_frame_t* /*frame*/) {}
    /** The camera failed with a code of the SDK. */
    virtual void OnCameraError(Camera& /*camera*/, kirocamera_error_t /*error*/) {}
    virtual ~CameraObserver() = 0;
};

inline CameraObserver::~CameraObserver() = default;

} // namespace vantorel
