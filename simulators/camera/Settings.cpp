// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "Settings.h"

#include <algorithm>
#include <cstring>

namespace kirosim {

namespace {

/** The functions of the SDK that can fail. */
constexpr const char* Functions[] = {
    "kirocamera_manager_create",
    "kirocamera_manager_register_event_callback",
    "kirocamera_register_frame_available_callback",
    "kirocamera_capture_session_start",
    "kirocamera_capture_session_stop",
    "kirocamera_set_display_mode",
    "kirocamera_get_sensor_mode",
    "kirocamera_set_sensor_mode",
    "kirocamera_set_debug_display_mode",
    "kirocamera_get_roic_id",
    "kirocamera_get_chipid",
    "kirocamera_get_serial_number",
    "kirocamera_get_firmware_version",
    "kirocamera_get_factory_settings",
    "kirocamera_frame_get_frame_by_format",
};

constexpr kirocamera_sim_identity_t defaultIdentity{
    1402, "4B1D0C7A92E5", "KC1402-00731", {{2, 5, 1, 38}}};

} // namespace

Settings::Settings() {
    for (const char* function : Functions) {
        results.emplace(function, 0);
    }
    frames.identity = defaultIdentity;
}

Settings& Settings::Instance() {
    // Never destroyed: if an application does not destroy a manager, its threads still read the
    // settings at the end.
    static Settings* const settings = new Settings;
    return *settings;
}

void Settings::Reset() {
    const std::lock_guard lock(mutex);
    manual = false;
    factory.reset();
    for (auto& [function, result] : results) {
        result = 0;
    }
    frames = {};
    frames.identity = defaultIdentity;
    ++frameVersion;
}

kirocamera_sim_identity_t Settings::Identity() const {
    const std::lock_guard lock(mutex);
    return frames.identity;
}

void Settings::SetIdentity(const kirocamera_sim_identity_t& identity) {
    const std::lock_guard lock(mutex);
    frames.identity = identity;
    frames.identity.chip_id[KIROCAMERA_TEXT_SIZE - 1] = '\0';
    frames.identity.serial_number[KIROCAMERA_TEXT_SIZE - 1] = '\0';
    ++frameVersion;
}

FactorySettings Settings::Factory() const {
    const std::lock_guard lock(mutex);
    if (factory) {
        return *factory;
    }
    FactorySettings made;
    for (std::uint32_t i = 0; i < made.size(); ++i) {
        made[i] = KIROCAMERA_SIM_FACTORY_BYTE(i);
    }
    return made;
}

void Settings::SetFactory(const std::uint8_t* data) {
    const std::lock_guard lock(mutex);
    factory.reset();
    if (data != nullptr) {
        std::memcpy(factory.emplace().data(), data, factory->size());
    }
}

kirocamera_error_t Settings::Result(std::string_view function) const {
    const std::lock_guard lock(mutex);
    const auto entry = results.find(function);
    return entry == results.end() ? 0 : entry->second;
}

bool Settings::SetResult(std::string_view function, kirocamera_error_t result) {
    const std::lock_guard lock(mutex);
    const auto entry = results.find(function);
    if (entry == results.end()) {
        return false;
    }
    entry->second = result;
    return true;
}

FrameSettings Settings::Frames() const {
    const std::lock_guard lock(mutex);
    return frames;
}

bool Settings::SetHeader(std::uint32_t offset, std::span<const std::uint8_t> bytes) {
    if (offset > frames.headerBytes.size() || bytes.size() > frames.headerBytes.size() - offset) {
        return false;
    }
    const std::lock_guard lock(mutex);
    std::copy(bytes.begin(), bytes.end(), frames.headerBytes.begin() + offset);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        frames.headerMask.set(offset + i);
    }
    ++frameVersion;
    return true;
}

void Settings::SetGeometry(std::optional<kiroframe_t> geometry) {
    const std::lock_guard lock(mutex);
    frames.geometry = geometry;
    ++frameVersion;
}

void Settings::SetMisalignment(std::uint32_t bytes) {
    const std::lock_guard lock(mutex);
    frames.misalignment = bytes;
    ++frameVersion;
}

void Settings::SetPlayed(std::string path) {
    const std::lock_guard lock(mutex);
    frames.played = std::move(path);
    ++frameVersion;
}

void Settings::SetRecorded(std::string path) {
    const std::lock_guard lock(mutex);
    frames.recorded = std::move(path);
    ++frameVersion;
}

} // namespace kirosim
