// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "tests/support/kernel/Gpio.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <set>
#include <span>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <unistd.h>

namespace vantorel::test {

/** One transfer: bytes written to an address, then optionally bytes read from it. */
struct I2cTransfer {
    std::uint16_t address;
    std::span<std::uint8_t> written;
    std::span<std::uint8_t> read;
};

/** The kernel's I2C bus. A function of the test returns 0 or an errno for each transfer. */
class I2cBus {
public:
    I2cBus(IoctlRecorder& ioctls, std::function<int(const I2cTransfer&)> transfer) {
        ioctls.OnPlain(I2C_SLAVE, [this](void* argument) {
            selected = reinterpret_cast<std::uintptr_t>(argument);
            onSelect();
            return selected > 0x7f ? FailWith(EINVAL) : 0;
        });
        ioctls.On<i2c_rdwr_ioctl_data>(I2C_RDWR, [answer = std::move(transfer)](auto& record) {
            const std::span messages(record.msgs, record.nmsgs);
            const auto bytes = [](const i2c_msg& message) {
                return std::span(message.buf, message.len);
            };
            const bool reads = messages.size() == 2;
            const i2c_msg& first = messages.front();
            // The library reads at least one byte, after a command and from the same address.
            if ((messages.size() != 1 && !reads) || (reads && messages.back().len == 0) ||
                messages.back().addr != first.addr || (first.flags & I2C_M_RD) != 0 ||
                reads != ((messages.back().flags & I2C_M_RD) != 0)) {
                std::abort();
            }
            if (messages.back().len > 8192) {
                return FailWith(EINVAL);
            }
            const int error = answer({first.addr, bytes(first),
                                      reads ? bytes(messages.back()) : std::span<std::uint8_t>()});
            return error != 0 ? FailWith(error) : static_cast<int>(record.nmsgs);
        });
    }

    std::uintptr_t selected = 0; // by I2C_SLAVE
    std::function<void()> onSelect = [] {};
};

/**
 * Records the traffic of an I2C bus and of the gauge's GPIO line. In the record of transfers, "55 w
 * 00 41" is a write of two bytes to address 0x55, "55 w 20 r 1" a read after a command byte.
 * "address 55" and "sleep 1000" (milliseconds) are recorded between them; sleeps are shortened.
 */
class FakeBus {
public:
    explicit FakeBus(ScopedSys& sys) : ioctls(sys) {
        bus.onSelect = [this] { Note("address" + Hex(bus.selected)); };
        sys->Nanosleep = [this](const timespec* request, timespec*) {
            Note("sleep " + std::to_string(request->tv_sec * 1000 + request->tv_nsec / 1'000'000));
            std::this_thread::sleep_for(std::chrono::microseconds(100)); // lets other threads run
            return 0;
        };
    }
    ~FakeBus() {
        // The gauge's line is driven low, and no other line is requested.
        EXPECT_LE(chip.requested.num_lines, 1U);
        EXPECT_EQ(chip.requested.config.flags & ~__u64{GPIO_V2_LINE_FLAG_OUTPUT}, 0U);
    }

    /** Returns the record since the last call, separated by commas. */
    std::string Take() { return std::exchange(log, {}); }

    /** The last request for a GPIO line. */
    const gpio_v2_line_request& LineRequest() const { return chip.requested; }

    IoctlRecorder ioctls;
    std::set<std::uint16_t> answering{0x55};
    std::map<int, std::vector<std::uint8_t>>
        answers;                       // by address and register: 0x5520 is register 0x20 of 0x55
    std::map<std::string, int> errors; // of a transfer, by its record

private:
    static std::string Hex(std::uintptr_t number) {
        char text[8];
        std::snprintf(text, sizeof text, " %02x", static_cast<unsigned>(number));
        return text;
    }

    void Note(const std::string& note) { log += (log.empty() ? "" : ", ") + note; }

    int Transfer(const I2cTransfer& transfer) {
        std::string note = Hex(transfer.address).substr(1) + " w";
        for (const std::uint8_t byte : transfer.written) {
            note += Hex(byte);
        }
        note += transfer.read.empty() ? "" : " r " + std::to_string(transfer.read.size());
        Note(note);
        if (errors.contains(note)) {
            return errors[note];
        }
        if (!answering.contains(transfer.address)) {
            return ENXIO;
        }
        if (!transfer.read.empty()) {
            auto answer = answers[transfer.address << 8 | transfer.written[0]];
            answer.resize(transfer.read.size());
            std::ranges::copy(answer, transfer.read.begin());
        }
        return 0;
    }

    I2cBus bus{ioctls, [this](const I2cTransfer& transfer) { return Transfer(transfer); }};
    FakeChip chip{ioctls, GPIO_V2_LINE_FLAG_OUTPUT};
    std::string log;
};

/** The file of a flash stream, in memory only. */
class StreamInMemory {
public:
    explicit StreamInMemory(ScopedSys& sys) {
        sys->Access = [this](const char* path, int mode) {
            return waits && path == file && mode == F_OK ? 0 : FailWith(ENOENT);
        };
        sys->Open = [this](const char* path, int flags, unsigned) {
            position = path == file ? 0 : position;
            return ::open("/dev/null", flags);
        };
        sys->Read = [this](int, void* buffer, std::size_t size) {
            const std::size_t count = text.copy(static_cast<char*>(buffer), size, position);
            position += count;
            return static_cast<ssize_t>(count);
        };
        sys->Unlink = [this](const char* path) {
            waits = waits && path != file;
            return 0;
        };
    }

    std::string text;
    bool waits = false;

private:
    const std::string file = "/tmp/var/update/bqfs";
    std::size_t position = 0;
};

} // namespace vantorel::test
