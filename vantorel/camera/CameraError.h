// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Error.h"

#include <kirocamera.h>

namespace vantorel {

/**
 * A failure of the camera SDK: Value() is the SDK's (negative) code, not an errno. Print Text()
 * for it, since ToString() treats the code as an errno. Reentrant.
 */
class VANTOREL_EXPORT CameraError : public Error {
public:
    /** @param code the SDK's code */
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
