// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "kirocamera_sim.h"

#include <array>
#include <atomic>
#include <bitset>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace kirosim {

using FactorySettings = std::array<std::uint8_t, KIROCAMERA_FACTORY_SETTINGS_SIZE>;

/** The settings for frames. */
struct FrameSettings {
    kirocamera_sim_identity_t identity{};
    std::optional<kiroframe_t> geometry;
    std::uint32_t misalignment = 0;
    std::array<std::uint8_t, KIROCAMERA_SIM_HEADER_SIZE> headerBytes{};
    std::bitset<KIROCAMERA_SIM_HEADER_SIZE> headerMask;
    std::string played;   /**< path of a recording, or empty: the scene */
    std::string recorded; /**< path of the recording to write, or empty */
};

/** All settings of tests, for the whole process. Thread-safe. */
class Settings {
public:
    static Settings& Instance();

    void Reset();

    bool Manual() const { return manual; }
    void SetManual(bool isManual) { manual = isManual; }

    kirocamera_sim_identity_t Identity() const;
    void SetIdentity(const kirocamera_sim_identity_t& identity);
    FactorySettings Factory() const;
    void SetFactory(const std::uint8_t* data);

    /** The result that a test forces on an SDK function, or 0. */
    kirocamera_error_t Result(std::string_view function) const;
    /** False when there is no such function. */
    bool SetResult(std::string_view function, kirocamera_error_t result);

    /** Changes with the frame settings, so a frame detects a change without a lock or a copy. */
    std::uint32_t FrameVersion() const { return frameVersion; }
    FrameSettings Frames() const;
    bool SetHeader(std::uint32_t offset, std::span<const std::uint8_t> bytes);
    void SetGeometry(std::optional<kiroframe_t> geometry);
    void SetMisalignment(std::uint32_t bytes);
    void SetPlayed(std::string path);
    void SetRecorded(std::string path);

private:
    Settings();

    mutable std::mutex mutex;
    std::atomic<bool> manual = false;
    std::atomic<std::uint32_t> frameVersion = 1;
    std::optional<FactorySettings> factory;
    std::map<std::string, kirocamera_error_t, std::less<>> results;
    FrameSettings frames;
};

} // namespace kirosim
