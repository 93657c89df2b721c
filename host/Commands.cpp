// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "host/Commands.h"
#include "host/Fuzz.h"
#include "host/Latency.h"
#include "host/Protocol.h"
#include "host/Report.h"
#include "tools/WriteFile.h"

#include <chrono>
#include <cstdio>
#include <functional>
#include <map>
#include <system_error>
#include <thread>

namespace vantorel::host {
namespace {

using Json = nlohmann::ordered_json;

/** The result could not be written to the user's file. */
class OutputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** The context of a command. */
struct Session {
    const Arguments& arguments;
    Transport& transport;
    Protocol protocol;
    std::ostream& out;

    void Print(const Report& report) { report.Print(out, arguments.json); }
};

std::string Hexadecimal(unsigned number, const char* format) {
    char text[16];
    std::snprintf(text, sizeof text, format, number);
    return text;
}

std::string AddressText(const DeviceInfo& device) {
    char text[32];
    std::snprintf(text, sizeof text, "%03u:%03u", device.bus, device.address);
    return text;
}

Json ToJson(const DeviceInfo& device) {
    Json json = {{"device", AddressText(device)}, {"vendor", device.vendor},
                 {"product", device.product},     {"manufacturer", device.manufacturer},
                 {"name", device.name},           {"portSerial", device.portSerial}};
    if (!device.problem.empty()) {
        json["problem"] = device.problem;
    }
    return json;
}

TransportError NoCamera(const Arguments& arguments, const std::string& where) {
    return {Failure::None,
            "No camera of vendor " + Hexadecimal(arguments.vendor, "0x%04x") + where};
}

ExitCode List(const Arguments& arguments, Bus& bus, std::ostream& out) {
    const auto devices = bus.List(arguments.vendor);
    if (arguments.json) {
        Json list = Json::array();
        for (const DeviceInfo& device : devices) {
            list.push_back(ToJson(device));
        }
        out << ToLine({{"devices", list}}) << '\n';
    } else {
        for (const DeviceInfo& device : devices) {
            const std::string texts =
                device.manufacturer + ' ' + device.name + ' ' + device.portSerial;
            out << AddressText(device) << ' ' << Hexadecimal(device.vendor, "%04x") << ':'
                << Hexadecimal(device.product, "%04x") << ' '
                << (device.problem.empty() ? Printable(texts) : '(' + device.problem + ')') << '\n';
        }
    }
    if (devices.empty()) {
        throw NoCamera(arguments, " is connected.");
    }
    return exitSuccess;
}

DeviceInfo Choose(const Arguments& arguments, Bus& bus) {
    auto devices = bus.List(arguments.vendor);
    if (const auto& wanted = arguments.device) {
        std::erase_if(devices, [&](const DeviceInfo& device) {
            return device.bus != wanted->bus || device.address != wanted->address;
        });
    }
    if (devices.empty()) {
        throw NoCamera(arguments, arguments.device ? " is at that address." : " is connected.");
    }
    if (devices.size() > 1) {
        throw TransportError(Failure::None,
                             "Several cameras are connected; select one with --device "
                             "(\"vantorel-host list\" prints them).");
    }
    return devices.front();
}

void WriteOutput(const std::string& name, const std::vector<std::uint8_t>& data) {
    try {
        WriteFile(name, {reinterpret_cast<const char*>(data.data()), data.size()});
    } catch (const std::system_error& error) {
        throw OutputError("Cannot write " + std::string(error.what()) + '.');
    }
}

ExitCode Identity(Session& session) {
    const IdentityRecord identity = session.protocol.Identity();
    const auto number = session.protocol.ChipNumber();
    const VersionRecord version = session.protocol.Version();
    Report report;
    report.Add("chip", identity.chip);
    report.Add("chipNumber", ToHex({number.begin(), number.end()}));
    report.Add("serial", identity.serial);
    report.Add("roic", identity.roic, Hexadecimal(identity.roic, "0x%04x"));
    report.Add("version", version.version);
    report.Add("build", version.buildDate + ' ' + version.buildTime);
    session.Print(report);
    return exitSuccess;
}

void AddStatus(Report& report, std::uint32_t status) {
    report.Add("status", {{"code", status}, {"text", DescribeStatus(status)}},
               DescribeStatus(status));
}

ExitCode Status(Session& session) {
    Report report;
    AddStatus(report, session.protocol.Status());
    session.Print(report);
    return exitSuccess;
}

ExitCode FactoryRead(Session& session) {
    const auto settings = session.protocol.FactorySettings();
    const std::string& file = session.arguments.outFile;
    if (!file.empty()) {
        WriteOutput(file, settings);
    } else if (!session.arguments.json) {
        session.out << ToDump(settings);
        return exitSuccess;
    }
    Report report;
    report.Add("size", settings.size(), std::to_string(settings.size()));
    file.empty() ? report.Add("data", ToHex(settings)) : report.Add("file", file, file);
    session.Print(report);
    return exitSuccess;
}

/** Prints a log line by line, independent of the pieces in which it arrives. */
class LinePrinter {
public:
    explicit LinePrinter(Session& owner) : session(owner) {}

    void Take(const std::string& piece) {
        constexpr std::size_t longest = 4096; // a device may send a line without an end
        pending += piece;
        for (auto end = pending.find('\n'); end != std::string::npos; end = pending.find('\n')) {
            Print(pending.substr(0, end));
            pending.erase(0, end + 1);
        }
        if (pending.size() >= longest) {
            PrintRest();
        }
    }

    void PrintRest() {
        if (!pending.empty()) {
            Print(pending);
            pending.clear();
        }
    }

private:
    void Print(const std::string& line) {
        session.out << (session.arguments.json ? ToLine({{"line", line}}) : Printable(line))
                    << std::endl;
    }

    Session& session;
    std::string pending;
};

ExitCode KernelLog(Session& session) {
    constexpr std::chrono::milliseconds pause(250);
    LinePrinter printer(session);
    try {
        while (session.out) {
            const std::string piece = session.protocol.KernelLog();
            printer.Take(piece);
            if (piece.empty()) {
                if (!session.arguments.follow) {
                    break;
                }
                std::this_thread::sleep_for(pause);
            }
        }
    } catch (const std::exception&) {
        printer.PrintRest(); // the device no longer has it
        throw;
    }
    printer.PrintRest();
    return exitSuccess;
}

ExitCode SessionState(Session& session) {
    const std::uint16_t state = session.protocol.SessionState();
    const char* words = state == 0 ? "stopped" : state == 1 ? "running" : "neither";
    Report report;
    report.Add("session", {{"code", state}, {"text", words}},
               words + (" (" + std::to_string(state) + ")"));
    session.Print(report);
    return exitSuccess;
}

ExitCode SetSession(Session& session, std::uint16_t state) {
    session.protocol.SetSessionState(state);
    return SessionState(session);
}

ExitCode Temperature(Session& session) {
    const std::int16_t reading = session.protocol.Temperature();
    const double celsius = reading / 32.0;
    char text[32];
    std::snprintf(text, sizeof text, "%.2f degrees Celsius", celsius);
    Report report;
    report.Add("temperature", celsius, text);
    session.Print(report);
    return exitSuccess;
}

ExitCode Raw(Session& session) {
    const Arguments& arguments = session.arguments;
    const Setup setup{.request = static_cast<std::uint8_t>(arguments.request),
                      .value = static_cast<std::uint16_t>(arguments.value),
                      .index = static_cast<std::uint16_t>(arguments.index)};
    if (arguments.data || setup.request != subi::request::status.number) {
        session.protocol.ForgetOldStatus();
    }
    std::vector<std::uint8_t> answer;
    bool stalled = false;
    try {
        if (arguments.data) {
            session.protocol.RawOut(setup, *arguments.data);
        } else {
            answer = session.protocol.RawIn(setup, arguments.length);
        }
    } catch (const TransportError& error) {
        if (error.Why() != Failure::Stall) {
            throw;
        }
        stalled = true;
    }
    const std::uint32_t status = session.protocol.Status();
    Report report;
    report.Add("stalled", stalled, stalled ? "yes" : "no");
    AddStatus(report, status);
    if (!arguments.outFile.empty() && !stalled) {
        WriteOutput(arguments.outFile, answer);
        report.Add("file", arguments.outFile, arguments.outFile);
    } else if (!arguments.data && arguments.json) {
        report.Add("data", ToHex(answer));
    }
    session.Print(report);
    if (!arguments.json && arguments.outFile.empty()) {
        session.out << ToDump(answer);
    }
    return stalled || status != 0 ? exitRefused : exitSuccess;
}

ExitCode Fuzz(Session& session) {
    const Arguments& arguments = session.arguments;
    const FuzzSummary summary =
        RunFuzz(session.transport,
                {arguments.seed, arguments.count, arguments.sessions, arguments.reversed});
    Report report;
    const auto add = [&](const char* key, std::uint64_t number) {
        report.Add(key, number, std::to_string(number));
    };
    add("seed", arguments.seed);
    add("requests", arguments.count);
    add("answered", summary.answered);
    add("refused", summary.refused);
    add("silent", summary.silent);
    report.Add("identity", summary.identityKept, summary.identityKept ? "unchanged" : "CHANGED");
    session.Print(report);
    return summary.identityKept ? exitSuccess : exitRefused;
}

ExitCode Latency(Session& session) {
    const LatencySummary summary = MeasureLatency(session.protocol, session.arguments.count);
    Report report;
    const auto add = [&](const char* key, double microseconds) {
        char text[32];
        std::snprintf(text, sizeof text, "%.1f us", microseconds);
        report.Add(key, microseconds, text);
    };
    report.Add("roundTrips", session.arguments.count, std::to_string(session.arguments.count));
    add("shortest", summary.shortest);
    add("median", summary.median);
    add("worst", summary.worst);
    session.Print(report);
    return exitSuccess;
}

ExitCode Run(const Arguments& arguments, Bus& bus, std::ostream& out) {
    static const std::map<std::string, std::function<ExitCode(Session&)>> commands = {
        {"identity", Identity},
        {"status", Status},
        {"factory read", FactoryRead},
        {"klog", KernelLog},
        {"session start", [](Session& session) { return SetSession(session, 1); }},
        {"session stop", [](Session& session) { return SetSession(session, 0); }},
        {"session state", SessionState},
        {"temperature", Temperature},
        {"raw", Raw},
        {"fuzz", Fuzz},
        {"latency", Latency}};
    if (arguments.command == "list") {
        return List(arguments, bus, out);
    }
    const auto transport = bus.Open(Choose(arguments, bus), arguments.timeoutMs);
    Session session{arguments, *transport, Protocol(*transport), out};
    return commands.at(arguments.command)(session);
}

ExitCode CodeOf(Failure failure) {
    switch (failure) {
    case Failure::None:
        return exitNoDevice;
    case Failure::Access:
        return exitAccess;
    case Failure::Stall:
        return exitRefused;
    default:
        return exitBus;
    }
}

} // namespace

ExitCode RunCommand(const Arguments& arguments, Bus& bus, std::ostream& out, std::ostream& err) {
    const auto fail = [&](const std::exception& error, ExitCode code) {
        PrintError(err, arguments.json, error.what(), code);
        return code;
    };
    try {
        const ExitCode code = Run(arguments, bus, out);
        if (!out.flush()) {
            throw OutputError("Cannot write the result.");
        }
        return code;
    } catch (const TransportError& error) {
        return fail(error, CodeOf(error.Why()));
    } catch (const DeviceError& error) {
        return fail(error, exitRefused);
    } catch (const std::exception& error) { // also when no memory is left
        return fail(error, exitOutput);
    }
}

ExitCode RunTool(int count, const char* const* values, Bus& bus, std::ostream& out,
                 std::ostream& err) {
    const auto parsed = ParseArguments(count, values, out, err);
    if (const auto* code = std::get_if<ExitCode>(&parsed)) {
        return *code;
    }
    return RunCommand(std::get<Arguments>(parsed), bus, out, err);
}

} // namespace vantorel::host
