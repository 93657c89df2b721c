// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/devices/Device.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

namespace vantorel {

/**
 * One device on an I2C bus, accessed through the bus's character device (I2C_RDWR, I2C_SLAVE).
 *
 * All operations throw Error with the errno of the failed call; ENXIO (6) means that no device
 * acknowledged. Thread-safe: each register transfer is one call that carries the address. Read()
 * and Write() use the address that was set last.
 */
class VANTOREL_EXPORT I2C : public Device {
public:
    /**
     * @param deviceName any name
     * @param devicePath the bus, for instance "/dev/i2c-0"
     * @param slaveAddress the 7-bit address of the device
     */
    I2C(std::string deviceName, std::string devicePath, std::uint8_t slaveAddress);
    ~I2C() override;

    /** Sends all further transfers, of every thread, to another address. */
    void SetAddress(std::uint8_t slaveAddress);

    /**
     * Writes a command byte and, after a repeated start, reads that many bytes.
     * @throws Error EINVAL for a null buffer or more bytes than a message can hold
     */
    void ReadRegister(std::uint8_t command, std::uint8_t* buffer, std::size_t length);

    /**
     * Writes a command byte and data in one message; the data may be null if the length is 0.
     * @throws Error EINVAL for missing data and for more bytes than a message can hold
     */
    void WriteRegister(std::uint8_t command, const std::uint8_t* data, std::size_t length);

    /** Reads without a command; returns the number of bytes. */
    std::size_t Read(std::uint8_t* buffer, std::size_t length);
    /** Writes without a command; returns the number of bytes. */
    std::size_t Write(const std::uint8_t* data, std::size_t length);

protected:
    /** Opens no bus: each transfer throws Error with EBADF. */
    explicit I2C(std::string deviceName) : Device(std::move(deviceName)), address(0) {}

private:
    std::atomic<std::uint8_t> address;
};

} // namespace vantorel
