// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/fuelgauge/private/FlashStream.h"

#include "vantorel/fuelgauge/I2C.h"
#include "vantorel/fuelgauge/private/FlashStreamFile.h"
#include "vantorel/service/private/ReadFile.h"
#include "vantorel/service/private/Sleep.h"
#include "vantorel/service/private/StatusLine.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace vantorel {
namespace {

// Kept unchanged, spelling included: a program that searches the output may rely on them.
constexpr const char* writeUnreadable = "FUEL FAUGE UPDATE: FAILED TO PARSE WRITE CMD!";
constexpr const char* writeFailed = "FUEL FAUGE UPDATE: FAILED WRITE CMD!";
constexpr const char* waitUnreadable = "FUEL FAUGE UPDATE: FAILED TO PARSE WAIT CMD!";
constexpr const char* compareUnreadable = "FUEL GAUGE UPDATE: FAILED TO PARSE COMPARE CMD!";
constexpr const char* compareFailed = "FUEL GAUGE UPDATE: FAILED COMPARE CMD!";

/** A line "W: AA RR DD DD ..." or "C: AA RR DD DD ...". */
struct Transfer {
    std::uint8_t address; // 7 bits
    std::uint8_t command;
    std::vector<std::uint8_t> data;
};

/** @throws std::invalid_argument, std::out_of_range for a field that is missing or not a number */
Transfer ParseTransfer(const std::string& line) {
    const auto number = [](const std::string& text) { return std::stoi(text, nullptr, 16); };
    Transfer transfer{};
    transfer.address = static_cast<std::uint8_t>((number(line.substr(3, 2)) & 0x1ff) >> 1);
    transfer.command = static_cast<std::uint8_t>(number(line.substr(6, 2)));
    std::istringstream pieces(line.substr(9));
    for (std::string piece; std::getline(pieces, piece, ' ');) {
        transfer.data.push_back(static_cast<std::uint8_t>(number(piece)));
    }
    if (transfer.data.empty()) {
        throw std::invalid_argument("no data");
    }
    return transfer;
}

/** Runs an action. When it throws, prints the message and passes the exception on. */
template <typename Action>
auto Reporting(const char* message, Action action) {
    try {
        return action();
    } catch (...) {
        PrintStatus(message);
        throw;
    }
}

} // namespace

void FlashStream::Play() {
    // Read the whole file before the first transfer: a read error in the middle must not look like
    // the end of the stream.
    std::istringstream stream(ReadFile(flashStreamFile));
    for (std::string line; std::getline(stream, line);) {
        switch (line.empty() ? '\0' : line[0]) {
        case 'W':
            Write(line);
            break;
        case 'C':
            Compare(line);
            break;
        case 'X':
            SleepFor(std::chrono::milliseconds(
                Reporting(waitUnreadable, [&] { return std::stoi(line.substr(3)); })));
            break;
        default: // comments, empty lines and unknown letters
            break;
        }
    }
}

void FlashStream::Write(const std::string& line) {
    const Transfer transfer = Reporting(writeUnreadable, [&] { return ParseTransfer(line); });
    Reporting(writeFailed, [&] {
        gauge.SetAddress(transfer.address);
        gauge.WriteRegister(transfer.command, transfer.data.data(), transfer.data.size());
    });
}

void FlashStream::Compare(const std::string& line) {
    const Transfer expected = Reporting(compareUnreadable, [&] { return ParseTransfer(line); });
    Reporting(compareFailed, [&] {
        std::vector<std::uint8_t> actual(expected.data.size());
        gauge.SetAddress(expected.address);
        gauge.ReadRegister(expected.command, actual.data(), actual.size());
        if (actual != expected.data) {
            throw int{EINVAL};
        }
    });
}

} // namespace vantorel
