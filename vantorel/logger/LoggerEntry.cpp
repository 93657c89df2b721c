// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/logger/LoggerEntry.h"

#include "vantorel/camera/private/FrameHeader.h"
#include "vantorel/service/private/LittleEndian.h"

#include <charconv>
#include <concepts>
#include <cstring>
#include <limits>
#include <string_view>
#include <utility>

namespace vantorel {
namespace {

/**
 * Writes fields with optional labels and units. It uses no stream: the application's locale may
 * have decimal commas, and a comma ends a column.
 */
class FieldWriter {
public:
    FieldWriter(bool withLabels, bool withUnits, const std::string& between)
        : labels(withLabels), units(withUnits), separator(between) {
        text.reserve(usualLength);
    }

    void Write(const char* label, std::string_view value, const char* unit = "") {
        text += first ? std::string_view() : separator;
        text += labels ? label : "";
        text += value;
        text += units ? unit : "";
        first = false;
    }

    template <std::integral Value>
    void Write(const char* label, Value value, const char* unit = "") {
        char digits[std::numeric_limits<Value>::digits10 + 2];
        const auto end = std::to_chars(std::begin(digits), std::end(digits), value).ptr;
        Write(label, std::string_view(digits, end), unit);
    }

    template <std::floating_point Value>
    void Write(const char* label, Value value, const char* unit = "") {
        char digits[std::numeric_limits<Value>::max_exponent10 + 4]; // sign, digit, point, decimal
        const auto end =
            std::to_chars(std::begin(digits), std::end(digits), value, std::chars_format::fixed, 1)
                .ptr;
        Write(label, std::string_view(digits, end), unit);
    }

    std::string Text() { return std::move(text); }

private:
    static constexpr std::size_t usualLength = 256; // with labels and units

    const bool labels;
    const bool units;
    const std::string_view separator;
    bool first = true;
    std::string text;
};

} // namespace

LoggerEntry::~LoggerEntry() = default;

std::string LoggerEntry::ToString(bool labels, bool units, const std::string& separator) const {
    const std::uint8_t* header = frameHeader.data();
    const auto* chipId = reinterpret_cast<const char*>(header + frameheader::chipId);

    FieldWriter fields(labels, units, separator);
    fields.Write("UPTIME: ", LoadLe<std::uint64_t>(header + frameheader::uptime), " ns");
    fields.Write("CID: ",
                 std::string_view(chipId, ::strnlen(chipId, headerSize - frameheader::chipId)));
    fields.Write("NFIELD: ", LoadLe<std::uint32_t>(header + frameheader::frameCounter));
    fields.Write("NERR: ", cameraErrorCount);
    fields.Write("FPS: ", frameRate);
    fields.Write("TDIODE: ", LoadLe<std::uint32_t>(header + frameheader::diode));
    fields.Write("TENV: ", LoadLe<float>(header + frameheader::environmentTemperature), " C");
    fields.Write("TSPOT: ", LoadLe<float>(header + frameheader::spotTemperature), " C");
    fields.Write("TCPU: ", processorTemperature, " C");
    fields.Write("TBRD: ", boardTemperature, " C");
    fields.Write("TBAT: ", batteryTemperature, " C");
    fields.Write("VBAT: ", batteryVoltage, " V");
    fields.Write("IBAT: ", batteryCurrent, " mA");
    fields.Write("LBAT: ", batteryLevel, " %");
    return fields.Text();
}

} // namespace vantorel
