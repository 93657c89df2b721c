// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "tests/support/IoctlRecorder.h"
#include "vantorel/fuelgauge/FuelGauge.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <linux/gpio.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>

namespace vantorel::test {

/**
 * Stands in for the kernel's I2C bus and GPIO line. It notes each transfer: "55 w 00 41" is a write
 * of two bytes to address 0x55, "55 w 20 r 1" a read after a command byte. "address 55" and "sleep
 * 1000" (in milliseconds) come between them; it does not really sleep that long.
 */
class FakeBus {
public:
    explicit FakeBus(ScopedSys& sys) : ioctls(sys) {
        ioctls.On<i2c_rdwr_ioctl_data>(
            I2C_RDWR, [this](i2c_rdwr_ioctl_data& transfer) { return Transfer(transfer); });
        ioctls.OnPlain(I2C_SLAVE, [this](void* argument) {
            const auto address = reinterpret_cast<std::uintptr_t>(argument);
            Note("address" + Hex(address));
            return address > 0x7f ? FailWith(EINVAL) : 0;
        });
        ioctls.On<gpio_v2_line_request>(GPIO_V2_GET_LINE_IOCTL, [](gpio_v2_line_request& record) {
            // The gauge's line is driven; a request for another line would take that from its
            // user.
            EXPECT_EQ(record.config.flags, GPIO_V2_LINE_FLAG_OUTPUT);
            EXPECT_EQ(record.num_lines, 1U);
            return record.fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC), 0;
        });
        sys->Nanosleep = [this](const timespec* request, timespec*) {
            Note("sleep " + std::to_string(request->tv_sec * 1000 + request->tv_nsec / 1'000'000));
            std::this_thread::sleep_for(std::chrono::microseconds(100)); // let others run
            return 0;
        };
    }

    /** Returns what was noted since the last call, separated by commas. */
    std::string Take() { return std::exchange(log, {}); }

    IoctlRecorder ioctls;
    std::set<std::uint16_t> answering{0x55};
    std::map<int, std::vector<std::uint8_t>>
        answers;                       // to 0x5520: what address 0x55 reads from 0x20
    std::map<std::string, int> errors; // of a transfer, by its note

private:
    static std::string Hex(std::uintptr_t number) {
        char text[8];
        std::snprintf(text, sizeof text, " %02x", static_cast<unsigned>(number));
        return text;
    }

    void Note(const std::string& note) { log += (log.empty() ? "" : ", ") + note; }

    int Transfer(i2c_rdwr_ioctl_data& transfer) {
        const i2c_msg& first = transfer.msgs[0];
        const i2c_msg& last = transfer.msgs[transfer.nmsgs - 1];
        const bool reads = &last != &first;
        std::string note = Hex(first.addr).substr(1) + " w";
        for (int byte = 0; byte < first.len; ++byte) {
            note += Hex(first.buf[byte]);
        }
        note += reads ? " r " + std::to_string(last.len) : "";
        Note(note);
        EXPECT_EQ(last.addr, first.addr);
        if (errors.contains(note)) {
            return FailWith(errors[note]);
        }
        if (!answering.contains(first.addr)) {
            return FailWith(ENXIO);
        }
        if (reads) {
            auto answer = answers[first.addr << 8 | first.buf[0]];
            answer.resize(last.len);
            std::ranges::copy(answer, last.buf);
        }
        return static_cast<int>(transfer.nmsgs);
    }

    std::string log;
};

/** The file of a flash stream, in memory only. */
class StreamInMemory {
public:
    explicit StreamInMemory(ScopedSys& sys) {
        sys->Access = [this](const char* path, int) {
            return waits && path == file ? 0 : FailWith(ENOENT);
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
