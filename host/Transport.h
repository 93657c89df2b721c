// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace vantorel::host {

/** The ways in which an exchange with a device can fail. */
enum class Failure {
    Stall,   ///< the device refused the request
    Timeout, ///< no answer
    Gone,    ///< the device was unplugged, or its port unbound
    Access,  ///< the user may not open the device, or another program holds it
    None,    ///< there is no such device, or more than one
    Other,   ///< the bus or the system failed
};

/** A failed exchange; what() is a sentence for the user. */
class TransportError : public std::runtime_error {
public:
    TransportError(Failure why, const std::string& sentence)
        : std::runtime_error(sentence), failure(why) {}
    Failure Why() const { return failure; }

private:
    Failure failure;
};

/** The setup stage of a vendor request, without the length, which follows from the data. */
struct Setup {
    std::uint8_t request = 0;
    std::uint16_t value = 0;
    std::uint16_t index = 0;
    std::uint8_t recipient = 0; ///< 0 device, 1 interface, 2 endpoint, 3 other
    bool operator==(const Setup&) const = default;
};

/** The maximum length of one control transfer: the device's kernel has one page for it. */
inline constexpr std::size_t largestTransfer = 4096;

/** An open device: carries vendor control requests, one at a time. Thread-bound. */
class Transport {
public:
    virtual ~Transport() = default;
    /**
     * Reads up to data.size() bytes; returns the number received.
     * @throws TransportError
     */
    virtual std::size_t In(const Setup& setup, std::span<std::uint8_t> data) = 0;
    /** @throws TransportError */
    virtual void Out(const Setup& setup, std::span<const std::uint8_t> data) = 0;
};

/** A camera on the bus. The texts are empty when they cannot be read. */
struct DeviceInfo {
    unsigned bus = 0;
    unsigned address = 0;
    std::uint16_t vendor = 0;
    std::uint16_t product = 0;
    std::string manufacturer;
    std::string name;
    std::string portSerial;
    std::string problem; ///< why the texts are empty
};

/** The bus that the cameras are on. */
class Bus {
public:
    virtual ~Bus() = default;
    /**
     * Returns the cameras of this vendor, ordered by address.
     * @throws TransportError
     */
    virtual std::vector<DeviceInfo> List(std::uint16_t vendor) = 0;
    /**
     * Opens a listed device for exclusive use.
     * @throws TransportError also when it has been unplugged since
     */
    virtual std::unique_ptr<Transport> Open(const DeviceInfo& device, unsigned timeoutMs) = 0;
};

} // namespace vantorel::host
