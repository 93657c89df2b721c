// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Plays arbitrary flash streams against a fake gauge. This file replaces every system call that a
// stream needs, so no file or bus of the machine is used.

#include "tests/fuzz/Demand.h"
#include "tests/support/kernel/I2c.h"
#include "vantorel/fuelgauge/FuelGauge.h"
#include "vantorel/service/Error.h"

#include <cerrno>
#include <iostream>
#include <numeric>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

using namespace vantorel;
using test::Demand;

constexpr int notAFile = 1 << 20;

/** Each register of the gauge contains its own address: 00 01 02 ... */
int Transfer(std::uintptr_t selected, const test::I2cTransfer& transfer) {
    const auto& [address, written, read] = transfer;
    Demand(selected <= 0x7f && address == selected);
    if (read.empty()) {
        Demand(written.size() >= 2);
        const std::string touched(written.begin(), written.end()); // every byte must be readable
    } else {
        Demand(written.size() == 1);
        std::iota(read.begin(), read.end(), written[0]);
    }
    return 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::cout.setstate(std::ios::failbit); // nearly every stream prints a message
    std::string_view unread;
    test::ScopedSys sys;
    test::IoctlRecorder ioctls(sys);
    test::FakeChip chip(ioctls, GPIO_V2_LINE_FLAG_OUTPUT);
    chip.opensLines = false;
    const test::I2cBus bus(ioctls, [&bus](const test::I2cTransfer& transfer) {
        return Transfer(bus.selected, transfer);
    });
    sys->Open = [](const char*, int, unsigned) { return notAFile; };
    sys->Close = [](int) { return 0; };
    sys->Read = [&](int, void* buffer, std::size_t room) {
        const std::size_t count = unread.copy(static_cast<char*>(buffer), room);
        unread.remove_prefix(count);
        return static_cast<ssize_t>(count);
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
        Demand(error.Value() == EINVAL); // an invalid address, or too many bytes for a message
    } catch (const std::logic_error&) {
    } catch (int number) {
        Demand(number == EINVAL);
    }
    Demand(unread.empty());
    return 0;
}
