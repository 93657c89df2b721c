#include "vantorel/logger/LoggerEntry.h"

#include "vantorel/service/private/LittleEndian.h"

#include <cstring>
#include <iomanip>
#include <sstream>
#include <string_view>

namespace vantorel {
namespace {

// Where the camera puts the values in its frame header.
constexpr std::size_t uptimeOffset = 22;
constexpr std::size_t chipIdOffset = 30;
constexpr std::size_t frameCounterOffset = 99;
constexpr std::size_t diodeOffset = 103;
constexpr std::size_t environmentOffset = 107;
constexpr std::size_t spotOffset = 131;

/** Writes fields with their labels and units as the caller wants them. */
class FieldWriter {
public:
    FieldWriter(bool withLabels, bool withUnits, const std::string& between)
        : labels(withLabels), units(withUnits), separator(between) {
        text << std::fixed << std::setprecision(1);
    }

    template <typename Value>
    void Write(const char* label, const Value& value, const char* unit = "") {
        text << (first ? "" : separator) << (labels ? label : "") << value << (units ? unit : "");
        first = false;
    }

    std::string Text() const { return text.str(); }

private:
    const bool labels;
    const bool units;
    const std::string& separator;
    bool first = true;
    std::ostringstream text;
};

} // namespace

LoggerEntry::~LoggerEntry() = default;

std::string LoggerEntry::ToString(bool labels, bool units, const std::string& separator) const {
    const std::uint8_t* header = frameHeader.data();
    const auto* chipId = reinterpret_cast<const char*>(header + chipIdOffset);

    FieldWriter fields(labels, units, separator);
    fields.Write("UPTIME: ", LoadLe<std::uint64_t>(header + uptimeOffset), " ns");
    fields.Write("CID: ", std::string_view(chipId, ::strnlen(chipId, headerSize - chipIdOffset)));
    fields.Write("NFIELD: ", LoadLe<std::uint32_t>(header + frameCounterOffset));
    fields.Write("NERR: ", cameraErrorCount);
    fields.Write("FPS: ", frameRate);
    fields.Write("TDIODE: ", LoadLe<std::uint32_t>(header + diodeOffset));
    fields.Write("TENV: ", LoadLe<float>(header + environmentOffset), " C");
    fields.Write("TSPOT: ", LoadLe<float>(header + spotOffset), " C");
    fields.Write("TCPU: ", processorTemperature, " C");
    fields.Write("TBRD: ", boardTemperature, " C");
    fields.Write("TBAT: ", batteryTemperature, " C");
    fields.Write("VBAT: ", batteryVoltage, " V");
    fields.Write("IBAT: ", batteryCurrent, " mA");
    fields.Write("LBAT: ", unsigned{batteryLevel}, " %");
    return fields.Text();
}

} // namespace vantorel
