// Has vantorel-log read arbitrary logs.
//
// An input is a byte that chooses whether the log begins with the right heading, then the log.

#include "tests/fuzz/Demand.h"
#include "tools/vantorel-log/Tool.h"
#include "vantorel/service/UniqueFd.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <sstream>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

namespace {

using namespace vantorel;
using test::Demand;

constexpr const char* heading =
    "Session ID,Uptime (s),Uptime (ns),ChipID,FPA Frame Count,FPA Error Count,Framerate (fps),"
    "FPA Tdiode (Counts),FPA Temp (degC),FPA Spot Temp (degC),CPU Temp (degC),Board Temp (degC),"
    "Battery Temp (degC),Battery Voltage (V),Battery Current (+/- mA),Battery Level (%%)\n";

struct Run {
    template <typename... Words>
    explicit Run(Words... words) {
        const char* values[] = {"vantorel-log", words...};
        std::ostringstream printed;
        std::ostringstream complaints;
        code = logtool::RunTool(sizeof...(Words) + 1, values, printed, complaints);
        out = printed.str();
        err = complaints.str();
        Demand(code == logtool::exitSuccess || code == logtool::exitProblems);
    }
    logtool::ExitCode code;
    std::string out;
    std::string err;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::string log = std::string(data[0] % 2 == 0 ? heading : "") +
                            std::string(reinterpret_cast<const char*>(data + 1), size - 1);
    const UniqueFd file(::memfd_create("debug.csv", MFD_CLOEXEC));
    Demand(::write(file.Get(), log.data(), log.size()) == static_cast<ssize_t>(log.size()));
    const std::string path = "/proc/self/fd/" + std::to_string(file.Get());

    const Run check("check", "--limit", "1000000", path.c_str());
    const auto printed = std::ranges::count(check.out, '\n') - 1; // one for each problem
    const std::string total = " " + std::to_string(printed) + " problems\n";
    Demand(check.out.ends_with(total));
    Demand((check.code == logtool::exitSuccess) == (printed == 0));

    const Run text("summary", path.c_str());
    const Run json("summary", "--json", path.c_str());
    Demand(text.code == json.code && text.err == json.err);
    Demand(json.code != logtool::exitSuccess || nlohmann::json::accept(json.out));
    return 0;
}
