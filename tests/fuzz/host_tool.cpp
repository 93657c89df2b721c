// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Connects vantorel-host to a device with invalid replies: too short, stalled, missing or forged.
//
// An input is a byte that selects the command, then the replies: a byte with the outcome and, for
// data, two bytes with its length and the data. At the end of the input the device is unplugged.

#include "host/Commands.h"
#include "tests/fuzz/Demand.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <sstream>
#include <string>

namespace {

using namespace vantorel::host;
using vantorel::test::Demand;

class Nonsense final : public Bus, public Transport {
public:
    Nonsense(const std::uint8_t* data, std::size_t size) : rest(data, size) {}

    std::vector<DeviceInfo> List(std::uint16_t vendor) override {
        return {{1, 7, vendor, 0x21, Text(), Text(), Text(), ""}};
    }
    std::unique_ptr<Transport> Open(const DeviceInfo&, unsigned) override {
        struct Cable final : Transport {
            explicit Cable(Nonsense& owner) : device(owner) {}
            std::size_t In(const Setup& setup, std::span<std::uint8_t> data) override {
                return device.In(setup, data);
            }
            void Out(const Setup& setup, std::span<const std::uint8_t> data) override {
                device.Out(setup, data);
            }
            Nonsense& device;
        };
        return std::make_unique<Cable>(*this);
    }
    std::size_t In(const Setup&, std::span<std::uint8_t> data) override {
        Demand(data.size() <= largestTransfer);
        Outcome();
        const std::size_t low = Byte();
        const std::size_t length = std::min(low + std::size_t{Byte()} * 256, data.size());
        const std::size_t count = std::min(length, rest.size());
        std::copy_n(rest.begin(), count, data.begin());
        rest = rest.subspan(count);
        return length; // bytes beyond the input are zero, as in a forged record
    }
    void Out(const Setup&, std::span<const std::uint8_t> data) override {
        Demand(data.size() <= largestTransfer);
        Outcome();
    }
    std::uint8_t Byte() {
        const std::uint8_t byte = rest.empty() ? 0 : rest.front();
        rest = rest.subspan(rest.empty() ? 0 : 1);
        return byte;
    }

private:
    void Outcome() {
        if (rest.empty()) {
            throw TransportError(Failure::Gone, "gone");
        }
        const std::uint8_t outcome = Byte();
        if (outcome >= 0xf0) {
            throw TransportError(static_cast<Failure>(outcome % 6), "failed");
        }
    }
    std::string Text() {
        std::string text;
        while (const std::uint8_t byte = Byte()) {
            text += static_cast<char>(byte);
        }
        return text;
    }
    std::span<const std::uint8_t> rest;
};

struct Command {
    const char* name;
    unsigned request = 0;
    unsigned length = 0;
};
constexpr Command commands[] = {{"list"},    {"identity"},     {"status"},        {"temperature"},
                                {"klog"},    {"factory read"}, {"session state"}, {"session start"},
                                {"latency"}, {"raw", 78, 36},  {"raw", 61, 4096}};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Nonsense bus(data, size);
    const std::uint8_t chosen = bus.Byte();
    const Command& command = commands[chosen % std::size(commands)];
    Arguments arguments;
    arguments.command = command.name;
    arguments.request = command.request;
    arguments.length = command.length;
    arguments.vendor = 0x1209;
    arguments.count = 100;
    arguments.json = chosen >= 0x80;
    std::ostringstream out;
    std::ostringstream err;
    // Other tests cover the parser of the command line, which takes longer than a command.
    const ExitCode code = RunCommand(arguments, bus, out, err);
    Demand(code != exitUsage && code != exitOutput);
    Demand(code == exitSuccess || code == exitRefused || !err.str().empty());
    const std::string text = out.str();
    // Text from a device must not send control sequences to a terminal.
    Demand(
        std::ranges::none_of(text, [](char c) { return c == '\x1b' || c == '\a' || c == '\b'; }));
    std::istringstream lines(text);
    for (std::string line; arguments.json && std::getline(lines, line);) {
        Demand(nlohmann::json::accept(line));
    }
    return 0;
}
