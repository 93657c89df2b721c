// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "kirocamera.h"

#include "CallLog.h"
#include "Export.h"
#include "Manager.h"
#include "Registry.h"
#include "Settings.h"

#include <cstring>
#include <system_error>

using kirosim::CallLog;
using kirosim::Settings;

namespace {

/** Records a call and returns the result that a test forces on it. */
template <typename... Numbers>
kirocamera_error_t Called(const char* function, const kirocamera_t* camera, Numbers... numbers) {
    std::string line = function;
    const char* separator = "(";
    if (camera != nullptr) {
        line += separator + ("camera" + std::to_string(camera->number));
        separator = ", ";
    }
    ((line += separator + std::to_string(numbers), separator = ", "), ...);
    line += *separator == '(' ? "()" : ")";
    CallLog::Instance().Add(std::move(line));
    return Settings::Instance().Result(function);
}

/** Records a call for a camera, returns the result that a test forces, or runs the action. */
template <typename Action, typename... Numbers>
kirocamera_error_t Call(const char* function, kirocamera_t* camera, Action action,
                        Numbers... numbers) {
    if (const kirocamera_error_t result = Called(function, camera, numbers...)) {
        return result;
    }
    if (camera == nullptr) {
        return KIROCAMERA_SIM_ERROR_ARGUMENT;
    }
    return camera->manager.Change(*camera, action);
}

/** A call that starts or stops a session; it blocks while the SDK is set to hang. */
template <typename Action, typename... Numbers>
kirocamera_error_t CallSession(const char* function, kirocamera_t* camera, Action action,
                               Numbers... numbers) {
    if (camera != nullptr) {
        camera->manager.WaitWhileHanging();
    }
    return Call(function, camera, action, numbers...);
}

/** Sets one of a camera's modes to one of two values. */
kirocamera_error_t SetMode(const char* function, kirocamera_t* camera, int kirosim::Modes::*which,
                           int mode, int other) {
    const auto set = [=](kirocamera& target) {
        if (mode != 0 && mode != other) {
            return kirocamera_error_t{KIROCAMERA_SIM_ERROR_ARGUMENT};
        }
        target.modes.*which = mode;
        return 0;
    };
    return Call(function, camera, set, mode);
}

/** Reads something that does not depend on the camera's state. */
template <typename Target, typename Copy>
kirocamera_error_t Read(const char* function, kirocamera_t* camera, Target* target, Copy copy) {
    return Call(function, camera, [=](kirocamera&) {
        if (target == nullptr) {
            return kirocamera_error_t{KIROCAMERA_SIM_ERROR_ARGUMENT};
        }
        copy(target);
        return 0;
    });
}

} // namespace

extern "C" {

KIROCAMERA_EXPORT kirocamera_error_t kirocamera_manager_create(kirocamera_manager_t** manager,
                                                               unsigned int discovery_mode) {
    if (const kirocamera_error_t result = Called(__func__, nullptr, discovery_mode)) {
        return result;
    }
    if (manager == nullptr) {
        return KIROCAMERA_SIM_ERROR_ARGUMENT;
    }
    try {
        auto created = std::make_unique<kirocamera_manager>(Settings::Instance().Manual());
        created->Start();
        kirosim::Registry::Instance().Add(*created);
        *manager = created.release();
        return 0;
    } catch (const std::bad_alloc&) {
        return KIROCAMERA_SIM_ERROR_RESOURCES;
    } catch (const std::system_error&) {
        return KIROCAMERA_SIM_ERROR_RESOURCES;
    }
}

KIROCAMERA_EXPORT void kirocamera_manager_destroy(kirocamera_manager_t* manager) {
    Called(__func__, nullptr);
    if (manager != nullptr) {
        kirosim::Registry::Instance().Remove(*manager);
    }
    delete manager;
}

KIROCAMERA_EXPORT kirocamera_error_t kirocamera_manager_register_event_callback(
    kirocamera_manager_t* manager, kirocamera_manager_event_callback_t callback, void* user) {
    if (const kirocamera_error_t result = Called(__func__, nullptr)) {
        return result;
    }
    if (manager == nullptr) {
        return KIROCAMERA_SIM_ERROR_ARGUMENT;
    }
    manager->Register(callback, user);
    return 0;
}

KIROCAMERA_EXPORT kirocamera_error_t kirocamera_register_frame_available_callback(
    kirocamera_t* camera, kirocamera_frame_available_callback_t callback, void* user) {
    return Call(__func__, camera, [=](kirocamera& target) {
        target.callback = callback;
        target.user = user;
        return 0;
    });
}

KIROCAMERA_EXPORT kirocamera_error_t kirocamera_capture_session_start(kirocamera_t* camera,
                                                                      uint32_t format) {
    const auto start = [=](kirocamera& target) {
        if (format != KIROCAMERA_FORMAT_DISPLAY) {
            return kirocamera_error_t{KIROCAMERA_SIM_ERROR_FORMAT};
        }
        if (target.session) {
            return kirocamera_error_t{KIROCAMERA_SIM_ERROR_SESSION};
        }
        target.session = true;
        target.format = format;
        return 0;
    };
    return CallSession(__func__, camera, start, format);
}

// Does not wait for a running frame callback: its handler may be waiting for the caller.
KIROCAMERA_EXPORT kirocamera_error_t kirocamera_capture_session_stop(kirocamera_t* camera) {
    return CallSession(__func__, camera, [](kirocamera& target) {
        if (!target.session) {
            return kirocamera_error_t{KIROCAMERA_SIM_ERROR_SESSION};
        }
        target.session = false;
        return 0;
    });
}

KIROCAMERA_EXPORT kirocamera_error_t kirocamera_set_display_mode(kirocamera_t* camera, int mode) {
    return SetMode(__func__, camera, &kirosim::Modes::display, mode,
                   KIROCAMERA_DISPLAY_MODE_HANDHELD);
}

KIROCAMERA_EXPORT kirocamera_error_t kirocamera_get_sensor_mode(kirocamera_t* camera, int* mode) {
    return Call(__func__, camera, [=](kirocamera& source) {
        if (mode == nullptr) {
            return kirocamera_error_t{KIROCAMERA_SIM_ERROR_ARGUMENT};
        }
        *mode = source.modes.sensor;
        return 0;
    });
}

KIROCAMERA_EXPORT kirocamera_error_t kirocamera_set_sensor_mode(kirocamera_t* camera, int mode) {
    return SetMode(__func__, camera, &kirosim::Modes::sensor, mode, 1);
}

KIROCAMERA_EXPORT kirocamera_error_t kirocamera_set_debug_display_mode(kirocamera_t* camera,
                                                                       int mode) {
    return SetMode(__func__, camera, &kirosim::Modes::debug, mode, 1);
}

KIROCAMERA_EXPORT const char* kirocamera_error_get_str(kirocamera_error_t error) {
    switch (error) {
    case 0:
        return "success";
    case KIROCAMERA_SIM_ERROR_ARGUMENT:
        return "invalid argument";
    case KIROCAMERA_SIM_ERROR_DISCONNECTED:
        return "camera disconnected";
    case KIROCAMERA_SIM_ERROR_FORMAT:
        return "format not available";
    case KIROCAMERA_SIM_ERROR_SESSION:
        return "wrong capture session state";
    case KIROCAMERA_SIM_ERROR_RESOURCES:
        return "out of resources";
    case KIROCAMERA_SIM_ERROR_NO_RECEIVER:
        return "no callback registered";
    default:
        return "unknown error";
    }
}

KIROCAMERA_EXPORT kirocamera_error_t kirocamera_get_roic_id(kirocamera_t* camera, uint16_t* id) {
    return Read(__func__, camera, id,
                [](uint16_t* target) { *target = Settings::Instance().Identity().roic_id; });
}

KIROCAMERA_EXPORT kirocamera_error_t kirocamera_get_chipid(kirocamera_t* camera,
                                                           char text[KIROCAMERA_TEXT_SIZE]) {
    return Read(__func__, camera, text, [](char* target) {
        std::memcpy(target, Settings::Instance().Identity().chip_id, KIROCAMERA_TEXT_SIZE);
    });
}

KIROCAMERA_EXPORT kirocamera_error_t kirocamera_get_serial_number(kirocamera_t* camera,
                                                                  char text[KIROCAMERA_TEXT_SIZE]) {
    return Read(__func__, camera, text, [](char* target) {
        std::memcpy(target, Settings::Instance().Identity().serial_number, KIROCAMERA_TEXT_SIZE);
    });
}

KIROCAMERA_EXPORT kirocamera_error_t
kirocamera_get_firmware_version(kirocamera_t* camera, kirocamera_firmware_version_t* version) {
    return Read(__func__, camera, version, [](kirocamera_firmware_version_t* target) {
        *target = Settings::Instance().Identity().firmware;
    });
}

KIROCAMERA_EXPORT kirocamera_error_t kirocamera_get_factory_settings(
    kirocamera_t* camera, uint8_t data[KIROCAMERA_FACTORY_SETTINGS_SIZE]) {
    return Read(__func__, camera, data, [](uint8_t* target) {
        const kirosim::FactorySettings factory = Settings::Instance().Factory();
        std::memcpy(target, factory.data(), factory.size());
    });
}

KIROCAMERA_EXPORT kirocamera_error_t kirocamera_frame_get_frame_by_format(kirocamera_frame_t* frame,
                                                                          uint32_t format,
                                                                          kiroframe_t** image) {
    // Logged in manual mode only, since an entry costs an allocation per frame.
    const bool log = Settings::Instance().Manual();
    if (const kirocamera_error_t result =
            log ? Called(__func__, nullptr, format) : Settings::Instance().Result(__func__)) {
        return result;
    }
    if (frame == nullptr || image == nullptr) {
        return KIROCAMERA_SIM_ERROR_ARGUMENT;
    }
    if (format != frame->format) {
        return KIROCAMERA_SIM_ERROR_FORMAT;
    }
    *image = &frame->image;
    return 0;
}

} // extern "C"
