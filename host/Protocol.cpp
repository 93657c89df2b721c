// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "host/Protocol.h"

#include <algorithm>
#include <cstdio>
#include <span>

namespace vantorel::host {
namespace {

using namespace subi;

std::uint16_t WordAt(const std::vector<std::uint8_t>& data, std::size_t offset) {
    return static_cast<std::uint16_t>(data.at(offset) | data.at(offset + 1) << 8);
}

std::uint32_t LongAt(const std::vector<std::uint8_t>& data, std::size_t offset) {
    return WordAt(data, offset) | static_cast<std::uint32_t>(WordAt(data, offset + 2)) << 16;
}

/** A text in a field of fixed size, which may lack a terminating zero. */
std::string TextAt(const std::vector<std::uint8_t>& data, std::size_t offset, std::size_t size) {
    const auto field = std::span(data).subspan(offset, size);
    return {field.begin(), std::ranges::find(field, 0)};
}

DeviceError Refused(const std::string& what, std::uint32_t word) {
    return DeviceError("The device refused to " + what + ": " +
                       (word == status::success ? "it reported no reason" : DescribeStatus(word)) +
                       ".");
}

} // namespace

std::string DescribeStatus(std::uint32_t word) {
    const char* words = "unknown status";
    switch (word) {
    case status::success:
        words = "success";
        break;
    case status::kernelLogFailed:
        words = "the kernel log could not be read, or holds less than requested";
        break;
    case status::stopRefused:
        words = "stopping with the value 3 is refused";
        break;
    case status::unsupported:
        words = "request unknown, or not supported now";
        break;
    }
    char number[16];
    std::snprintf(number, sizeof number, "0x%08x", static_cast<unsigned>(word));
    return std::string(words) + " (" + number + ")";
}

std::uint32_t Protocol::Status() {
    std::vector<std::uint8_t> data(request::status.length);
    const Setup setup{.request = request::status.number};
    if (transport.In(setup, data) != data.size()) {
        throw DeviceError("The device sent an incomplete status word.");
    }
    statusKnown = true;
    return LongAt(data, 0);
}

VersionRecord Protocol::Version() {
    const auto data = ReadSelected("report its version", selector::version);
    std::string text = std::to_string(data[0]);
    for (std::size_t part = 1; part < 4; ++part) {
        text += "." + std::to_string(data[part]);
    }
    return {text, TextAt(data, 4, 16), TextAt(data, 20, 16)};
}

IdentityRecord Protocol::Identity() {
    const auto data = ReadSelected("report its identity", selector::identity);
    return {TextAt(data, 0, 16), TextAt(data, 16, 16), WordAt(data, 32)};
}

std::array<std::uint8_t, 6> Protocol::ChipNumber() {
    const auto data = Read("report its chip number", request::chipNumber);
    std::array<std::uint8_t, 6> number{};
    for (std::size_t word = 0; word < number.size(); ++word) {
        number[number.size() - 1 - word] = data[2 * word];
    }
    return number;
}

std::vector<std::uint8_t> Protocol::FactorySettings() {
    const std::string what = "send its factory settings";
    Order(what, request::setFactoryRange, {factorySettingsSize / 2, 0, 0});
    std::vector<std::uint8_t> settings;
    while (settings.size() < factorySettingsSize) {
        const std::size_t length = std::min(largestTransfer, factorySettingsSize - settings.size());
        const auto piece = Read(what, request::factoryRange, length);
        settings.insert(settings.end(), piece.begin(), piece.end());
    }
    return settings;
}

std::string Protocol::KernelLog() {
    const std::string what = "send its kernel log";
    const auto count = LongAt(ReadSelected(what, selector::fetchKernelLog), 0);
    if (count == 0) {
        return {};
    }
    if (count > kernelLogPiece) {
        throw DeviceError("The device reports a piece of kernel log of " + std::to_string(count) +
                          " bytes; the limit is " + std::to_string(kernelLogPiece) + ".");
    }
    const auto piece = ReadSelected(what, selector::kernelLog, count);
    return {piece.begin(), piece.end()};
}

std::uint16_t Protocol::SessionState() {
    return WordAt(Read("report the capture session's state", request::session), 0);
}

void Protocol::SetSessionState(std::uint16_t state) {
    Order(state == 0 ? "stop the capture session" : "start the capture session",
          request::setSession, {state});
}

std::int16_t Protocol::Temperature() {
    return static_cast<std::int16_t>(
        WordAt(ReadSelected("report its temperature", selector::temperature), 0));
}

std::vector<std::uint8_t> Protocol::RawIn(const Setup& setup, std::size_t length) {
    std::vector<std::uint8_t> data(length);
    data.resize(transport.In(setup, data));
    return data;
}

void Protocol::RawOut(const Setup& setup, const std::vector<std::uint8_t>& data) {
    transport.Out(setup, data);
}

std::vector<std::uint8_t> Protocol::Read(const std::string& what, const Request& request) {
    return Read(what, request, static_cast<std::size_t>(request.length));
}

std::vector<std::uint8_t> Protocol::Read(const std::string& what, const Request& request,
                                         std::size_t length) {
    ForgetOldStatus();
    std::vector<std::uint8_t> data;
    try {
        data = RawIn({.request = request.number}, length);
    } catch (const TransportError& error) {
        if (error.Why() != Failure::Stall) {
            throw;
        }
        throw Refused(what, Status());
    }
    if (data.size() != length) {
        throw DeviceError("Asked to " + what + ", the device sent " + std::to_string(data.size()) +
                          " bytes instead of " + std::to_string(length) + ".");
    }
    return data;
}

std::vector<std::uint8_t> Protocol::ReadSelected(const std::string& what,
                                                 const Selector& selector) {
    return ReadSelected(what, selector, static_cast<std::size_t>(selector.length));
}

std::vector<std::uint8_t> Protocol::ReadSelected(const std::string& what, const Selector& selector,
                                                 std::size_t length) {
    // Selecting does not check the status word: the device accepts every selector and refuses the
    // read that follows.
    Write(what, request::select, {selector.number});
    return Read(what, request::selected, length);
}

void Protocol::Order(const std::string& what, const Request& request,
                     std::initializer_list<std::uint16_t> words) {
    Write(what, request, words);
    if (const std::uint32_t word = Status(); word != status::success) {
        throw Refused(what, word);
    }
}

void Protocol::Write(const std::string& what, const Request& request,
                     std::initializer_list<std::uint16_t> words) {
    ForgetOldStatus();
    std::vector<std::uint8_t> data;
    for (const std::uint16_t word : words) {
        data.push_back(static_cast<std::uint8_t>(word & 0xff));
        data.push_back(static_cast<std::uint8_t>(word >> 8));
    }
    try {
        RawOut({.request = request.number}, data);
    } catch (const TransportError& error) {
        if (error.Why() != Failure::Stall) {
            throw;
        }
        throw Refused(what, Status());
    }
}

void Protocol::ForgetOldStatus() {
    if (!statusKnown) {
        Status();
    }
}

} // namespace vantorel::host
