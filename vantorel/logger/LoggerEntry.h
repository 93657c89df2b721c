// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Export.h"

#include <array>
#include <cstdint>
#include <string>

namespace vantorel {

/**
 * One diagnostics sample: the newest camera frame header and the values that the other subjects
 * reported last. A value type; fields are zero until set. Reentrant.
 */
class VANTOREL_EXPORT LoggerEntry {
public:
    /** Bytes of the camera's frame header. */
    static constexpr std::size_t headerSize = 2048;

    LoggerEntry() = default;
    /** Copies all fields. */
    LoggerEntry(const LoggerEntry&) = default;
    /** Copies all fields. */
    LoggerEntry& operator=(const LoggerEntry&) = default;
    virtual ~LoggerEntry();

    /**
     * The entry as a text of fourteen fields in a fixed order; floating-point values have one
     * decimal.
     * @param labels put a label such as "TCPU: " before each field
     * @param units put the unit such as " C" after each field that has one
     * @param separator put between two fields
     */
    std::string ToString(bool labels, bool units, const std::string& separator) const;

    std::array<std::uint8_t, headerSize> frameHeader{}; /**< verbatim */
    double frameRate = 0;                               /**< frames per second */
    std::uint32_t cameraErrorCount = 0;                 /**< since the start */
    float batteryVoltage = 0;                           /**< volts */
    float batteryTemperature = 0;                       /**< degrees Celsius */
    std::int16_t batteryCurrent = 0;                    /**< mA, negative while discharging */
    std::uint8_t batteryLevel = 0;                      /**< percent */
    float boardTemperature = 0;                         /**< degrees Celsius */
    float processorTemperature = 0;                     /**< degrees Celsius */
};

} // namespace vantorel
