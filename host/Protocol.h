#pragma once

#include "host/Transport.h"

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace vantorel::host {

/** The device's status word in words, with its number. */
std::string DescribeStatus(std::uint32_t status);

/** The device refused a request, or answered something that cannot be. */
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
 * The camera's control protocol, an operation at a time.
 *
 * A device tells why it refused a request in its status word, which is read and cleared by a
 * request of its own. It may refuse data that the bus has acknowledged already, so the word is read
 * after every order.
 *
 * Every operation throws DeviceError when it is refused and TransportError when the exchange fails.
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
    /** The next piece of the kernel's log, taken out of it; empty when there is none. */
    std::string KernelLog();
    std::uint16_t SessionState();
    void SetSessionState(std::uint16_t state);
    /** The spot temperature of the latest picture, in 32nds of a degree. */
    std::int16_t Temperature();

    /** A request as it is; what comes back is cut to what the device sent. */
    std::vector<std::uint8_t> RawIn(const Setup& setup, std::size_t length);
    void RawOut(const Setup& setup, const std::vector<std::uint8_t>& data);

private:
    std::vector<std::uint8_t> Read(const std::string& what, std::uint8_t request,
                                   std::size_t length);
    std::vector<std::uint8_t> ReadSelected(const std::string& what, std::uint16_t selector,
                                           std::size_t length);
    void Order(const std::string& what, std::uint8_t request,
               std::initializer_list<std::uint16_t> words);
    void Write(const std::string& what, std::uint8_t request,
               std::initializer_list<std::uint16_t> words);
    void ForgetOldStatus();

    Transport& transport;
    bool statusKnown = false;
};

} // namespace vantorel::host
