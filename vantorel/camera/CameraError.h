#pragma once

#include "vantorel/service/Error.h"

#include <kirocamera.h>

namespace vantorel {

/**
 * A failure of the camera SDK: Value() is the SDK's own (negative) code, not an errno, so the text
 * to print is Text(), while ToString() answers as for any error.
 */
class VANTOREL_EXPORT CameraError : public Error {
public:
    /** @param code of the SDK */
    explicit CameraError(kirocamera_error_t code) : Error(code) {}
    /** Copies the code. */
    CameraError(const CameraError&) = default;
    /** Copies the code. */
    CameraError& operator=(const CameraError&) = default;
    ~CameraError() override;

    /** The SDK's description of the code. */
    std::string Text() const;
};

} // namespace vantorel
