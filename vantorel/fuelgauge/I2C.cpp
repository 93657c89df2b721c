// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/fuelgauge/I2C.h"

#include "vantorel/service/Error.h"
#include "vantorel/service/private/OrThrow.h"
#include "vantorel/service/private/Sys.h"

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>

namespace vantorel {
namespace {

// A message's length has 16 bits, and a write begins with the command byte.
constexpr std::size_t maximumLength = 0xffff - 1;

void CheckLength(std::size_t length) {
    if (length > maximumLength) {
        throw Error(EINVAL);
    }
}

void TransferMessages(const UniqueFd& bus, i2c_msg* messages, std::uint32_t count) {
    i2c_rdwr_ioctl_data transfer{messages, count};
    OrThrow(sys::Ioctl(bus.Get(), I2C_RDWR, &transfer));
}

} // namespace

I2C::I2C(std::string deviceName, std::string devicePath, std::uint8_t slaveAddress)
    : Device(std::move(deviceName), std::move(devicePath), O_RDWR), address(slaveAddress) {
    SetAddress(slaveAddress);
}

I2C::~I2C() = default;

void I2C::SetAddress(std::uint8_t slaveAddress) {
    address = slaveAddress;
    // The argument of this request is the address itself, not a pointer to it.
    void* argument = reinterpret_cast<void*>(std::uintptr_t{slaveAddress});
    OrThrow(sys::Ioctl(fd.Get(), I2C_SLAVE, argument));
}

void I2C::ReadRegister(std::uint8_t command, std::uint8_t* buffer, std::size_t length) {
    if (buffer == nullptr) {
        throw Error(EINVAL);
    }
    CheckLength(length);
    // Both messages need the same address, and another thread may change it between them.
    const std::uint8_t slave = address;
    i2c_msg messages[2] = {{slave, 0, 1, &command},
                           {slave, I2C_M_RD, static_cast<__u16>(length), buffer}};
    TransferMessages(fd, messages, 2);
}

void I2C::WriteRegister(std::uint8_t command, const std::uint8_t* data, std::size_t length) {
    if (data == nullptr && length != 0) {
        throw Error(EINVAL);
    }
    CheckLength(length);
    std::vector<std::uint8_t> bytes(length + 1, command);
    std::copy_n(data, length, bytes.begin() + 1);
    i2c_msg message{address, 0, static_cast<__u16>(bytes.size()), bytes.data()};
    TransferMessages(fd, &message, 1);
}

std::size_t I2C::Read(std::uint8_t* buffer, std::size_t length) {
    return static_cast<std::size_t>(OrThrow(sys::Read(fd.Get(), buffer, length)));
}

std::size_t I2C::Write(const std::uint8_t* data, std::size_t length) {
    return static_cast<std::size_t>(OrThrow(sys::Write(fd.Get(), data, length)));
}

} // namespace vantorel
