// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/camera/CameraError.h"

namespace vantorel {

CameraError::~CameraError() = default;

std::string CameraError::Text() const {
    return ::kirocamera_error_get_str(Value());
}

} // namespace vantorel
