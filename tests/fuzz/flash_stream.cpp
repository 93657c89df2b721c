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
#include <sstream>
#include <stdexcept>
#include <string_view>

#include <linux/gpio.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>

namespace {

using namespace vantorel;
using test::Demand;

/** The lines of a stream, or what they have led to. */
struct Counts {
    int writes = 0;
    int reads = 0;
    int waits = 0;
};

/** The machine around the gauge. Its registers hold their own numbers: 00 01 02 ... */
class World {
public:
    World() {
        sys->Open = [](const char*, int, unsigned) { return notAFile; };
        sys->Close = [](int) { return 0; };
        sys->Read = [this](int, void* buffer, std::size_t size) {
            const std::size_t count = std::min(size, unread.size());
            std::memcpy(buffer, unread.data(), count);
            unread.remove_prefix(count);
            return static_cast<ssize_t>(count);
        };
        sys->Ioctl = [this](int, unsigned long request, void* argument) {
            return Ioctl(request, argument);
        };
        sys->Nanosleep = [this](const timespec* request, timespec*) {
            const auto [seconds, nanoseconds] = *request;
            Demand(seconds >= 0 && nanoseconds >= 0 && nanoseconds < 1'000'000'000);
            Demand(seconds > 0 || nanoseconds > 0);
            ++done.waits;
            return 0;
        };
    }

    test::ScopedSys sys;
    std::string_view unread;
    Counts done;

private:
    int Ioctl(unsigned long request, void* argument) {
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
            std::string touched(last.buf, last.buf + last.len); // every byte is really there
            return ++done.writes, 1;
        }
        Demand(messages[0].len == 1 && last.len >= 1);
        std::iota(last.buf, last.buf + last.len, messages[0].buf[0]);
        return ++done.reads, 2;
    }

    static constexpr int notAFile = 1 << 20;
    std::uintptr_t selected = 0;
};

Counts Count(const std::string& stream) {
    Counts lines;
    std::istringstream text(stream);
    for (std::string line; std::getline(text, line);) {
        lines.writes += line.starts_with('W');
        lines.reads += line.starts_with('C');
        lines.waits += line.starts_with('X');
    }
    return lines;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::cout.setstate(std::ios::failbit); // a message for nearly every stream
    const std::string stream(data, data + size);
    const Counts lines = Count(stream);
    World world;
    FuelGauge gauge("gauge", "bus", "chip", 0);
    world.unread = stream;
    try {
        gauge.ExecuteFlashStream();
        // Played to its end: each line had its one transfer.
        Demand(world.done.writes == lines.writes && world.done.reads == lines.reads);
    } catch (const Error& error) {
        Demand(error.Value() == EINVAL); // an impossible address, or more than a message can carry
    } catch (const std::logic_error&) {
    } catch (int number) {
        Demand(number == EINVAL && world.done.reads > 0);
    }
    Demand(world.unread.empty());
    Demand(world.done.writes <= lines.writes && world.done.reads <= lines.reads);
    Demand(world.done.waits <= lines.waits);
    return 0;
}
