// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "host/Arguments.h"
#include "host/Report.h"
#include "host/Transport.h"
#include "tools/UnknownCommand.h"
#include "vantorel/LibraryVersion.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <string_view>

namespace vantorel::host {
namespace {

constexpr unsigned defaultTimeoutMs = 5000;
constexpr std::uint64_t mostRequests = 100'000'000;
constexpr std::uint64_t mostRoundTrips = 1'000'000; // each is kept for the median

[[noreturn]] void Reject(const std::string& option, const std::string& why) {
    throw CLI::ValidationError(option, why);
}

Arguments::Address ParseAddress(const std::string& text) {
    Arguments::Address address;
    char rest = 0;
    if (std::sscanf(text.c_str(), "%3u:%3u%c", &address.bus, &address.address, &rest) != 2) {
        Reject("--device", "'" + text + "' is not BUS:ADDR, two numbers as \"list\" prints them");
    }
    return address;
}

/** Four digits as `lsusb` prints them, with or without 0x: always hexadecimal. */
std::uint16_t ParseVendor(const std::string& text) {
    const std::string digits = text.starts_with("0x") ? text.substr(2) : text;
    if (digits.empty() || digits.size() > 4 ||
        digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
        Reject("--vendor", "'" + text + "' is not a hexadecimal ID such as 1209");
    }
    return static_cast<std::uint16_t>(std::stoul(digits, nullptr, 16));
}

std::vector<std::uint8_t> ParseHex(const std::string& text) {
    if (text.size() % 2 != 0 ||
        text.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
        Reject("DATA", "'" + text + "' is not pairs of hexadecimal digits");
    }
    std::vector<std::uint8_t> data;
    for (std::size_t at = 0; at < text.size(); at += 2) {
        data.push_back(static_cast<std::uint8_t>(std::stoul(text.substr(at, 2), nullptr, 16)));
    }
    return data;
}

/** The grammar of the command line, with the arguments that need a further check. */
struct Grammar {
    Arguments arguments;
    std::string vendor = VANTOREL_HOST_VENDOR_TEXT;
    std::string device;
    std::string data;
    CLI::Option* dataOption = nullptr;
    CLI::App app{"Services a thermal camera on this computer's USB.", "vantorel-host"};

    Grammar() {
        arguments.timeoutMs = defaultTimeoutMs;
        app.require_subcommand(1);
        app.fallthrough();
        app.set_version_flag("--version", "vantorel-host " VANTOREL_VERSION);
        app.add_flag("--json", arguments.json, "Print JSON instead of text");
        app.add_option("--vendor", vendor, "USB vendor ID of the cameras, hexadecimal")
            ->type_name("ID")
            ->capture_default_str();
        app.add_option("--device", device, "Address of the camera, as \"list\" prints it")
            ->type_name("BUS:ADDR");
        app.add_option("--timeout", arguments.timeoutMs, "Time to wait for an answer")
            ->type_name("MS")
            ->check(CLI::Range(1, 3'600'000))
            ->capture_default_str();
        AddReading();
        AddSession();
        AddRaw();
        AddTrials();
        app.footer("Exit status: 0 success, 1 refused by the device or check failed, 2 usage,\n"
                   "3 no such device, 4 no access, 5 device gone or silent, 6 output failed.");
    }

    void AddReading() {
        Command(app, "list", "List the cameras");
        Command(app, "identity", "Chip, serial number, ROIC, version and build");
        Command(app, "status", "Outcome of the last request; reading clears it");
        Command(app, "temperature", "Spot temperature of the latest frame");
        auto* factory = app.add_subcommand("factory", "Factory settings");
        factory->require_subcommand(1)->fallthrough();
        AddOutFile(Command(*factory, "read", "Read the factory settings", "factory read"));
        Command(app, "klog", "Read and remove the device's kernel log")
            ->add_flag("--follow", arguments.follow, "Continue with later messages");
    }

    void AddSession() {
        auto* session = app.add_subcommand("session", "Capture session");
        session->require_subcommand(1)->fallthrough();
        Command(*session, "start", "Start it", "session start");
        Command(*session, "stop", "Stop it", "session stop");
        Command(*session, "state", "Print whether it runs", "session state");
    }

    void AddRaw() {
        auto* raw = Command(app, "raw", "One vendor request; without DATA the device sends");
        raw->add_option("REQUEST", arguments.request, "Number of the request")
            ->required()
            ->check(CLI::Range(0, 0xff));
        raw->add_option("LENGTH", arguments.length, "Number of bytes to send or to request")
            ->required()
            ->check(CLI::Range(0, static_cast<int>(largestTransfer)));
        dataOption = raw->add_option("DATA", data, "Bytes to send, in hexadecimal");
        raw->add_option("--value", arguments.value, "wValue of the request")
            ->check(CLI::Range(0, 0xffff));
        raw->add_option("--index", arguments.index, "wIndex of the request")
            ->check(CLI::Range(0, 0xffff));
        AddOutFile(raw);
    }

    void AddTrials() {
        auto* fuzz = Command(app, "fuzz", "Send random vendor requests; the identity must survive");
        fuzz->add_option("--seed", arguments.seed, "Selects the requests")->required();
        fuzz->add_flag("--sessions", arguments.sessions,
                       "Also start and stop the capture session; the device may stop answering");
        fuzz->add_flag("--reversed", arguments.reversed,
                       "Only known requests, each in the wrong direction");
        AddCount(fuzz, "Number of requests (1000)", mostRequests);
        AddCount(Command(app, "latency", "Measure the round trip of the shortest request"),
                 "Number of round trips (1000)", mostRoundTrips);
    }

    CLI::App* Command(CLI::App& parent, const std::string& name, const std::string& help,
                      const std::string& full = "") {
        auto* command = parent.add_subcommand(name, help);
        command->fallthrough();
        command->callback(
            [this, chosen = full.empty() ? name : full] { arguments.command = chosen; });
        return command;
    }

    void AddOutFile(CLI::App* command) {
        command->add_option("--out", arguments.outFile, "Write the bytes to this file")
            ->type_name("FILE");
    }

    void AddCount(CLI::App* command, const std::string& help, std::uint64_t most) {
        arguments.count = 1000;
        command->add_option("--count", arguments.count, help)
            ->check(CLI::Range(std::uint64_t{1}, most));
    }

    Arguments Finish() {
        arguments.vendor = ParseVendor(vendor);
        if (!device.empty()) {
            arguments.device = ParseAddress(device);
        }
        if (dataOption->count() > 0) {
            arguments.data = ParseHex(data);
            if (arguments.data->size() != arguments.length) {
                Reject("DATA", "LENGTH is " + std::to_string(arguments.length) + ", DATA has " +
                                   std::to_string(arguments.data->size()) + " bytes");
            }
            if (!arguments.outFile.empty()) {
                Reject("--out", "a request with DATA returns nothing");
            }
        }
        return arguments;
    }
};

} // namespace

std::variant<Arguments, ExitCode> ParseArguments(int count, const char* const* values,
                                                 std::ostream& out, std::ostream& err) {
    Grammar grammar;
    try {
        grammar.app.parse(count, values);
        return grammar.Finish();
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) { // help was requested
            grammar.app.exit(error, out, err);
            return exitSuccess;
        }
        const std::string unknown = UnknownCommand(grammar.app);
        // The parser may have stopped before it reached the option.
        const bool json =
            std::find(values, values + count, std::string_view("--json")) != values + count;
        if (json || !unknown.empty()) {
            PrintError(err, json, unknown.empty() ? error.what() : unknown, exitUsage);
        } else {
            grammar.app.exit(error, out, err);
        }
        return exitUsage;
    }
}

} // namespace vantorel::host
