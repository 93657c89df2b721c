// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Lets vantorel-log read arbitrary logs.
//
// An input is a byte that selects whether the log begins with the right heading, then the log.

#include "tests/fuzz/Demand.h"
#include "tools/vantorel-log/LogReader.h"
#include "tools/vantorel-log/Plot.h"
#include "tools/vantorel-log/Summary.h"
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

/** Passes everything on to all readers and counts the lines. */
struct Readers final : logtool::LogReceiver {
    void OnRecord(std::size_t line, const logtool::Record& record) override {
        Demand(line > lastLine);
        lastLine = line;
        ++records;
        summary.OnRecord(line, record);
        plot.OnRecord(line, record);
    }
    void OnProblem(const logtool::Problem& problem) override {
        Demand(!problem.text.empty());
        hasHeadingProblem = hasHeadingProblem || problem.kind == logtool::Problem::Heading;
        summary.OnProblem(problem);
        plot.OnProblem(problem);
    }
    logtool::Summary summary;
    logtool::Plot plot;
    std::size_t lastLine = 0;
    std::size_t records = 0;
    bool hasHeadingProblem = false;
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

    Readers readers;
    const std::size_t lines = logtool::ReadLog(path, readers);
    const auto all = static_cast<std::size_t>(std::ranges::count(log, '\n')) +
                     (log.empty() || log.ends_with('\n') ? 0 : 1);
    // Lines after a heading with other columns have no meaning.
    Demand(lines == all || (lines < all && readers.hasHeadingProblem));
    Demand(readers.plot.IsEmpty() == (readers.records == 0));
    std::ostringstream text;
    if (readers.summary.WhyUnknown() == nullptr) {
        readers.summary.Print(text);
        const auto replace = nlohmann::json::error_handler_t::replace;
        Demand(nlohmann::json::accept(readers.summary.ToJson().dump(-1, ' ', true, replace)));
    }
    if (!readers.plot.IsEmpty()) {
        text << readers.plot.Script("svg");
    }
    const std::string shown = text.str();
    Demand(std::ranges::none_of(shown, [](char c) { return c == '\x1b' || c == '\0'; }));
    return 0;
}
