#pragma once

#include "tests/support/IoctlRecorder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <linux/i2c-dev.h>
#include <linux/i2c.h>

namespace vantorel::test {

/**
 * An I2C bus in the place of the kernel's. It notes what passes, as "55 w 00 41 00" for a write of
 * three bytes to address 0x55 and "55 w 20 r 1" for a read after a command byte, together with
 * "address 55" and "sleep 1000" (in milliseconds), and nothing in reality sleeps.
 */
class FakeBus {
public:
    explicit FakeBus(ScopedSys& sys) : ioctls(sys) {
        ioctls.On<i2c_rdwr_ioctl_data>(
            I2C_RDWR, [this](i2c_rdwr_ioctl_data& transfer) { return Transfer(transfer); });
        ioctls.OnPlain(I2C_SLAVE, [this](void* address) {
            log.push_back("address" + Hex(reinterpret_cast<std::uintptr_t>(address)));
            return slaveError == 0 ? 0 : FailWith(slaveError);
        });
        sys->Nanosleep = [this](const timespec* request, timespec*) {
            log.push_back("sleep " +
                          std::to_string(request->tv_sec * 1000 + request->tv_nsec / 1'000'000));
            return 0;
        };
    }

    /** What is read from a command of an address; without any, the address does not answer. */
    void Answer(std::uint16_t address, std::uint8_t command, std::vector<std::uint8_t> bytes) {
        answering.insert(address);
        answers[{address, command}] = std::move(bytes);
    }

    std::vector<std::string> Take() { return std::exchange(log, {}); }

    IoctlRecorder ioctls;
    std::set<std::uint16_t> answering{0x55};
    std::map<std::string, int> errors; // of a transfer, by its note
    int slaveError = 0;

private:
    static std::string Hex(std::uintptr_t number) {
        char text[8];
        std::snprintf(text, sizeof text, " %02x", static_cast<unsigned>(number));
        return text;
    }

    int Transfer(i2c_rdwr_ioctl_data& transfer) {
        std::string note = Hex(transfer.msgs[0].addr).substr(1);
        for (__u32 i = 0; i < transfer.nmsgs; ++i) {
            const i2c_msg& message = transfer.msgs[i];
            EXPECT_EQ(message.addr, transfer.msgs[0].addr);
            if (message.flags == I2C_M_RD) {
                note += " r " + std::to_string(message.len);
                continue;
            }
            EXPECT_EQ(message.flags, 0);
            note += " w";
            for (int byte = 0; byte < message.len; ++byte) {
                note += Hex(message.buf[byte]);
            }
        }
        log.push_back(note);
        if (const auto error = errors.find(note); error != errors.end()) {
            return FailWith(error->second);
        }
        return Reply(transfer);
    }

    int Reply(i2c_rdwr_ioctl_data& transfer) {
        const i2c_msg& last = transfer.msgs[transfer.nmsgs - 1];
        if (answering.count(last.addr) == 0) {
            return FailWith(ENXIO);
        }
        const auto& bytes = answers[{last.addr, transfer.msgs[0].buf[0]}];
        if (last.flags == I2C_M_RD) {
            for (std::size_t i = 0; i < last.len && i < bytes.size(); ++i) {
                last.buf[i] = bytes[i];
            }
        }
        return static_cast<int>(transfer.nmsgs);
    }

    std::map<std::pair<std::uint16_t, std::uint8_t>, std::vector<std::uint8_t>> answers;
    std::vector<std::string> log;
};

} // namespace vantorel::test
