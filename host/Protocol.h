// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "host/Transport.h"
#include "vantorel/usb/private/SubiRequests.h"

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace vantorel::host {

/** The device's status word in words, with its number. */
std::string DescribeStatus(std::uint32_t word);

/** The device refused a request, or sent an answer that the protocol does not allow. */
class DeviceError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct VersionRecord {
    std::string version; ///< hardware.fixed.major.minor
    std::string buildDate;
    std::string buildTime;
};

struct IdentityRecord {
    std::string chip;
    std::string serial;
    std::uint16_t roic = 0;
    bool operator==(const IdentityRecord&) const = default;
};

/**
 * The camera's control protocol, one operation at a time.
 *
 * The device stores the reason of a refusal in its status word; a separate request reads and clears
 * it. The device may refuse data after the bus has acknowledged them, so every operation that sends
 * data reads the word afterwards.
 *
 * Every operation throws DeviceError when the device refuses it and TransportError when the
 * exchange fails.
 */
class Protocol {
public:
    explicit Protocol(Transport& carrier) : transport(carrier) {}

    /** The outcome of the last request; clears it. */
    std::uint32_t Status();

    VersionRecord Version();
    IdentityRecord Identity();
    /** The chip's number in its binary form, most significant byte first. */
    std::array<std::uint8_t, 6> ChipNumber();
    std::vector<std::uint8_t> FactorySettings();
    /** Reads and removes the next piece of the kernel's log; empty when there is none. */
    std::string KernelLog();
    std::uint16_t SessionState();
    void SetSessionState(std::uint16_t state);
    /** The spot temperature of the latest frame, in units of 1/32 degree. */
    std::int16_t Temperature();

    /**
     * Clears the status of a request that another program has sent: some refusals do not set the
     * word, so the old value would be mistaken for the reason. Once per object.
     */
    void ForgetOldStatus();
    /** Sends a request unchanged; the answer has as many bytes as the device sent. */
    std::vector<std::uint8_t> RawIn(const Setup& setup, std::size_t length);
    void RawOut(const Setup& setup, const std::vector<std::uint8_t>& data);

private:
    std::vector<std::uint8_t> Read(const std::string& what, const subi::Request& request);
    std::vector<std::uint8_t> Read(const std::string& what, const subi::Request& request,
                                   std::size_t length);
    std::vector<std::uint8_t> ReadSelected(const std::string& what, const subi::Selector& selector);
    std::vector<std::uint8_t> ReadSelected(const std::string& what, const subi::Selector& selector,
                                           std::size_t length);
    void Order(const std::string& what, const subi::Request& request,
               std::initializer_list<std::uint16_t> words);
    void Write(const std::string& what, const subi::Request& request,
               std::initializer_list<std::uint16_t> words);

    Transport& transport;
    bool statusKnown = false;
};

} // namespace vantorel::host
