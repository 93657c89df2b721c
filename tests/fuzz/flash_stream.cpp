// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Plays arbitrary flash streams against a gauge that is not there. Neither files nor buses of the
// machine are touched: every system call on the way is answered here.

#include "tests/fuzz/Demand.h"
#include "tests/support/ScriptedSys.h"
#include "vantorel/fuelgauge/FuelGauge.h"
#include "vantorel/service/Error.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <numeric>
#include <stdexcept>
#include <string>
#include <string_view>

#include <linux/gpio.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>

namespace {

using namespace vantorel;
using test::Demand;

constexpr int notAFile = 1 << 20;

/** The bus. The registers of the gauge hold their own numbers: 00 01 02 ... */
int Ioctl(std::uintptr_t& selected, unsigned long request, void* argument) {
    if (request == GPIO_V2_GET_LINE_IOCTL) {
        static_cast<gpio_v2_line_request*>(argument)->fd = notAFile;
        return 0;
    }
    if (request == I2C_SLAVE) {
        selected = reinterpret_cast<std::uintptr_t>(argument);
        return selected > 0x7f ? test::FailWith(EINVAL) : 0; // as the kernel
    }
    Demand(request == I2C_RDWR);
    const auto [messages, count] = *static_cast<i2c_rdwr_ioctl_data*>(argument);
    Demand(selected <= 0x7f && (count == 1 || count == 2));
    const i2c_msg& last = messages[count - 1];
    Demand(messages[0].addr == selected && last.addr == selected);
    if (last.len > 8192) { // as the kernel
        return test::FailWith(EINVAL);
    }
    if (count == 1) {
        Demand(last.len >= 2);
        const std::string touched(last.buf, last.buf + last.len); // every byte is really there
    } else {
        Demand(messages[0].len == 1 && last.len >= 1);
        std::iota(last.buf, last.buf + last.len, messages[0].buf[0]);
    }
    return static_cast<int>(count);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::cout.setstate(std::ios::failbit); // a message for nearly every stream
    std::string_view unread;
    std::uintptr_t selected = 0;
    test::ScopedSys sys;
    sys->Open = [](const char*, int, unsigned) { return notAFile; };
    sys->Close = [](int) { return 0; };
    sys->Read = [&](int, void* buffer, std::size_t room) {
        const std::size_t count = unread.copy(static_cast<char*>(buffer), room);
        unread.remove_prefix(count);
        return static_cast<ssize_t>(count);
    };
    sys->Ioctl = [&](int, unsigned long request, void* argument) {
        return Ioctl(selected, request, argument);
    };
    sys->Nanosleep = [](const timespec* request, timespec*) {
        const auto [seconds, nanoseconds] = *request;
        Demand(seconds >= 0 && nanoseconds >= 0 && nanoseconds < 1'000'000'000);
        return 0;
    };
    FuelGauge gauge("gauge", "bus", "chip", 0);
    unread = {reinterpret_cast<const char*>(data), size};
    try {
        gauge.ExecuteFlashStream();
    } catch (const Error& error) {
        Demand(error.Value() == EINVAL); // an impossible address, or more than a message can carry
    } catch (const std::logic_error&) {
    } catch (int number) {
        Demand(number == EINVAL);
    }
    Demand(unread.empty());
    return 0;
}
