// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "kirocamera_sim.h"

#include "CallLog.h"
#include "Export.h"
#include "Registry.h"
#include "Settings.h"

#include <algorithm>
#include <cstring>

using kirosim::CallLog;
using kirosim::Registry;
using kirosim::Settings;

extern "C" {

KIROCAMERA_EXPORT void kirocamera_sim_reset(void) {
    Settings::Instance().Reset();
    CallLog::Instance().Clear();
}

KIROCAMERA_EXPORT void kirocamera_sim_set_manual(int manual) {
    Settings::Instance().SetManual(manual != 0);
}

KIROCAMERA_EXPORT void kirocamera_sim_get_identity(kirocamera_sim_identity_t* identity) {
    *identity = Settings::Instance().Identity();
}

KIROCAMERA_EXPORT void kirocamera_sim_set_identity(const kirocamera_sim_identity_t* identity) {
    Settings::Instance().SetIdentity(*identity);
}

KIROCAMERA_EXPORT void
kirocamera_sim_set_factory_settings(const uint8_t data[KIROCAMERA_FACTORY_SETTINGS_SIZE]) {
    Settings::Instance().SetFactory(data);
}

KIROCAMERA_EXPORT kirocamera_error_t kirocamera_sim_set_result(const char* function,
                                                               kirocamera_error_t result) {
    const bool known = function != nullptr && Settings::Instance().SetResult(function, result);
    return known ? 0 : KIROCAMERA_SIM_ERROR_ARGUMENT;
}

KIROCAMERA_EXPORT kirocamera_error_t kirocamera_sim_set_header(uint32_t offset, const void* bytes,
                                                               uint32_t size) {
    const auto* const first = static_cast<const uint8_t*>(bytes);
    const bool fits =
        first != nullptr && Settings::Instance().SetHeader(offset, {first, size_t{size}});
    return fits ? 0 : KIROCAMERA_SIM_ERROR_ARGUMENT;
}

KIROCAMERA_EXPORT kirocamera_error_t kirocamera_sim_set_geometry(const kiroframe_t* geometry) {
    constexpr uint32_t limit = 64U << 20;
    if (geometry == nullptr) {
        Settings::Instance().SetGeometry(std::nullopt);
    } else if (geometry->header_size > limit || geometry->data_size > limit) {
        return KIROCAMERA_SIM_ERROR_ARGUMENT;
    } else {
        Settings::Instance().SetGeometry(*geometry);
    }
    return 0;
}

KIROCAMERA_EXPORT kirocamera_error_t kirocamera_sim_set_misalignment(uint32_t bytes) {
    if (bytes > 15) {
        return KIROCAMERA_SIM_ERROR_ARGUMENT;
    }
    Settings::Instance().SetMisalignment(bytes);
    return 0;
}

KIROCAMERA_EXPORT kirocamera_t* kirocamera_sim_get_camera(void) {
    kirocamera_manager* const manager = Registry::Instance().Latest();
    return manager == nullptr ? nullptr : manager->CurrentCamera();
}

KIROCAMERA_EXPORT kirocamera_error_t kirocamera_sim_event(kirocamera_t* camera,
                                                          kirocamera_manager_event_t event,
                                                          kirocamera_error_t error) {
    kirocamera_manager* const manager =
        camera != nullptr ? &camera->manager : Registry::Instance().Latest();
    return manager == nullptr ? kirocamera_error_t{KIROCAMERA_SIM_ERROR_NO_RECEIVER}
                              : manager->SendEvent(camera, event, error);
}

KIROCAMERA_EXPORT kirocamera_error_t kirocamera_sim_frame(void) {
    kirocamera_manager* const manager = Registry::Instance().Latest();
    return manager == nullptr ? kirocamera_error_t{KIROCAMERA_SIM_ERROR_NO_RECEIVER}
                              : manager->SendFrame();
}

KIROCAMERA_EXPORT kirocamera_error_t kirocamera_sim_command(const char* line) {
    kirocamera_manager* const manager = Registry::Instance().Latest();
    if (manager == nullptr) {
        return KIROCAMERA_SIM_ERROR_NO_RECEIVER;
    }
    const auto command =
        kirosim::ControlCommand::Parse(line != nullptr ? std::string_view(line) : "");
    if (!command) {
        return KIROCAMERA_SIM_ERROR_ARGUMENT;
    }
    manager->Post(*command);
    return 0;
}

KIROCAMERA_EXPORT uint32_t kirocamera_sim_get_log(char* text, uint32_t size) {
    const std::string log = CallLog::Instance().Text();
    if (text != nullptr && size > 0) {
        const size_t count = std::min<size_t>(log.size(), size - 1);
        std::memcpy(text, log.data(), count);
        text[count] = '\0';
    }
    return static_cast<uint32_t>(log.size() + 1);
}

KIROCAMERA_EXPORT void kirocamera_sim_clear_log(void) {
    CallLog::Instance().Clear();
}

} // extern "C"
