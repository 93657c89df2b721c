// Plays a complete stream against the virtual device's model of the gauge, and interrupts it
// everywhere: whatever the moment, the next start must find the gauge and complete the update.

#include "tests/support/CapturedOutput.h"
#include "tests/support/ScriptedSys.h"
#include "vantorel/fuelgauge/FuelGauge.h"
#include "vantorel/service/Error.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <linux/gpio.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>

extern "C" {
#include "virtual-device/board/gauge.h"
}

namespace {
std::uint64_t now = 0; // in milliseconds; only sleeping and starting take time
}
extern "C" std::uint64_t gauge_clock_ms() {
    return now;
}

namespace vantorel {
namespace {

const char* const streamLines[] = {
#include "GaugeStream.inc"
};

// Every line where that takes seconds; elsewhere as many as that.
#if defined(__SANITIZE_ADDRESS__) || defined(__arm__) || !defined(__OPTIMIZE__)
constexpr std::size_t stride = 61;
#else
constexpr std::size_t stride = 1;
#endif

constexpr std::uint64_t bootTime = 2500;

/** The device's start as far as the gauge is concerned, again and again with the same gauge. */
class InterruptedUpdate : public testing::Test {
protected:
    /** What is there just before a transfer, a wait or the deletion of the stream. */
    struct Moment {
        gauge model;
        std::uint64_t time;
        bool streamWaits;
        std::vector<std::uint8_t> message; // what would be written
    };

    InterruptedUpdate() {
        for (const char* line : streamLines) {
            stream += line;
        }
        sys->Open = [this](const char*, int, unsigned) {
            unread = stream;
            return ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        };
        sys->Access = [this](const char*, int) { return streamWaits ? 0 : test::FailWith(ENOENT); };
        sys->Read = [this](int, void* buffer, std::size_t size) {
            const std::size_t count = unread.copy(static_cast<char*>(buffer), size);
            unread.erase(0, count);
            return static_cast<ssize_t>(count);
        };
        sys->Unlink = [this](const char*) {
            Note({});
            streamWaits = false;
            Note({});
            return 0;
        };
        sys->Nanosleep = [this](const timespec* request, timespec*) {
            Note({});
            const auto milliseconds = request->tv_sec * 1000 + request->tv_nsec / 1'000'000;
            now += static_cast<std::uint64_t>(milliseconds);
            slept += milliseconds;
            return 0;
        };
        sys->Ioctl = [this](int, unsigned long request, void* argument) {
            if (request == GPIO_V2_GET_LINE_IOCTL) {
                static_cast<gpio_v2_line_request*>(argument)->fd = -1;
            }
            return request == I2C_RDWR ? Transfer(*static_cast<i2c_rdwr_ioctl_data*>(argument)) : 0;
        };
        Renew();
    }

    void Renew() {
        now = 0;
        gauge_init(&model);
        streamWaits = true;
    }

    void GoTo(const Moment& moment) {
        model = moment.model;
        now = moment.time;
        streamWaits = moment.streamWaits;
    }

    /** One start; true when it has found the gauge. Failures are kept from the device, as ever. */
    bool Start() {
        now += bootTime;
        transfers = 0;
        slept = 0;
        FuelGauge driver("gauge", "/dev/null", "/dev/null", 3u);
        const bool found = driver.IsBatteryConnected();
        try {
            driver.Update();
        } catch (...) {
        }
        try {
            driver.Reset();
        } catch (const Error&) {
        }
        return found;
    }

    std::vector<Moment> StartNoting() {
        std::vector<Moment> moments;
        moments.reserve(std::size(streamLines) + 100);
        notes = &moments;
        EXPECT_TRUE(Start());
        notes = nullptr;
        return moments;
    }

    /** Empty when the gauge has what the stream says, and works. */
    std::string Missing() {
        const gauge_content& content = *gauge_flash(&model);
        int wrong = 0;
        for (int row = 0; row < GAUGE_ROWS; ++row) {
            for (int column = row == 0 ? 2 : 0; column < GAUGE_ROW_SIZE; ++column) {
                wrong += content.rows[row][column] != ((row * 5 + column * 3 + 1) & 0xff);
            }
        }
        for (int block = 0; block < 4; ++block) {
            for (int column = 0; column < GAUGE_BLOCK_SIZE; ++column) {
                wrong += content.blocks[block][column] != ((block * 11 + column + 1) & 0xff);
            }
        }
        std::uint8_t level = GAUGE_STATE_OF_CHARGE;
        now += model.reset_ms;
        gauge_write(&model, GAUGE_ADDRESS, &level, 1);
        gauge_read(&model, GAUGE_ADDRESS, &level, 1);
        return std::string(wrong != 0 ? "content " : "") + (streamWaits ? "stream waits " : "") +
               (level != 80 ? "no reading" : "");
    }

    test::ScopedSys sys;
    test::CapturedOutput output;
    gauge model;
    bool streamWaits = true;
    std::string stream;
    int transfers = 0;
    std::int64_t slept = 0;
    int failingTransfer = 0; // counted from 1
    int failure = 0;         // its errno; 0 for a wrong bit in what is read

private:
    void Note(std::vector<std::uint8_t> message) {
        if (notes != nullptr) {
            notes->push_back({model, now, streamWaits, std::move(message)});
        }
    }

    int Transfer(const i2c_rdwr_ioctl_data& transfer) {
        const i2c_msg& first = transfer.msgs[0];
        const i2c_msg& last = transfer.msgs[transfer.nmsgs - 1];
        if (notes != nullptr) {
            Note({first.buf, first.buf + first.len});
        }
        const bool fails = ++transfers == failingTransfer;
        if (fails && failure != 0) {
            return test::FailWith(failure);
        }
        const auto address = static_cast<std::uint8_t>(first.addr);
        if (gauge_write(&model, address, first.buf, first.len) != 0 ||
            (&last != &first && gauge_read(&model, address, last.buf, last.len) != 0)) {
            return test::FailWith(ENXIO);
        }
        if (fails && &last != &first) {
            last.buf[0] ^= 1;
        }
        return static_cast<int>(transfer.nmsgs);
    }

    std::vector<Moment>* notes = nullptr;
    std::string unread;
};

TEST_F(InterruptedUpdate, TakesOneTransferPerLineAndSleepsForNothingElse) {
    std::int64_t lines = 0;
    std::int64_t waits = 0;
    for (const std::string line : streamLines) {
        lines += line[0] == 'W' || line[0] == 'C';
        waits += line[0] == 'X' ? std::stol(line.substr(3)) : 0;
    }
    EXPECT_TRUE(Start());
    EXPECT_EQ(Missing(), "");
    EXPECT_GE(lines, 256 * 3);
    // The probe; four words of keys and the entry into ROM mode; the two writes that leave it; and
    // the reset after it, with its keys.
    EXPECT_EQ(transfers, 1 + (4 + 1) + lines + 2 + (4 + 1));
    EXPECT_EQ(slept, (1000 + 1000) + waits + 4000 + 1000);
}

TEST_F(InterruptedUpdate, IsCompletedByTheNextStartWhereverThePowerWent) {
    const std::vector<Moment> moments = StartNoting();
    ASSERT_GT(moments.size(), std::size(streamLines) - 10); // comments apart
    enum Cut { before, within, withTheBattery };
    for (std::size_t i = 0; i < moments.size(); i += stride) {
        for (const Cut cut : {before, within, withTheBattery}) {
            const auto& message = moments[i].message;
            // Half a message takes two bytes; a gauge that idles in ROM mode has nothing to lose.
            const bool inRomMode = gauge_address(&moments[i].model) == GAUGE_ROM_ADDRESS;
            if ((cut == within && message.size() < 2) ||
                (cut == withTheBattery && inRomMode && !message.empty())) {
                continue;
            }
            GoTo(moments[i]);
            if (cut == within) {
                gauge_write(&model, gauge_address(&model), message.data(), message.size() / 2);
            } else if (cut == withTheBattery) {
                gauge_power_cycle(&model);
            }
            EXPECT_TRUE(Start()) << "moment " << i << ", cut " << cut;
            EXPECT_EQ(Missing(), "") << "moment " << i << ", cut " << cut;
        }
    }
}

TEST_F(InterruptedUpdate, IsCompletedWhenThePowerGoesAgainAndAgain) {
    const std::vector<Moment> first = StartNoting();
    for (std::size_t i = 0; i < first.size(); i += 8 * stride + 83) {
        GoTo(first[i]);
        const std::vector<Moment> second = StartNoting();
        for (std::size_t j = 0; j < second.size(); j += 8 * stride + 89) {
            GoTo(second[j]);
            gauge_power_cycle(&model);
            EXPECT_TRUE(Start()) << i << ' ' << j;
            EXPECT_EQ(Missing(), "") << i << ' ' << j;
        }
    }
}

// Not acknowledged, timed out, arbitration lost, or read with a wrong bit.
TEST_F(InterruptedUpdate, IsCompletedByTheNextStartWhicheverTransferFailed) {
    EXPECT_TRUE(Start());
    const int count = transfers;
    const int failures[] = {ENXIO, ETIMEDOUT, EAGAIN, 0};
    for (int i = 2; i <= count; i += 3 * static_cast<int>(stride)) {
        Renew();
        failingTransfer = i;
        failure = failures[i % 4];
        EXPECT_TRUE(Start()) << "transfer " << i;
        failingTransfer = 0;
        EXPECT_TRUE(Start()) << "transfer " << i;
        EXPECT_EQ(Missing(), "") << "transfer " << i;
    }
}

// What has made useless gauges elsewhere: long lines cut off, waits too short, a stream for another
// gauge; and what this device's way into ROM mode and out of it does not allow.
TEST_F(InterruptedUpdate, IsCompletedByTheRightStreamAfterAWrongOne) {
    const std::string good = stream;
    const auto edited = [&](auto edit) {
        std::string text;
        for (std::string line : streamLines) {
            edit(line);
            text += line;
        }
        return text;
    };
    const auto replaced = [&](const std::string& from, const std::string& to) {
        return edited([&](std::string& line) { line = line == from ? to : line; });
    };
    enum Outcome { untouched, broken, taken, complete, repeated };
    const struct {
        std::string text;
        Outcome outcome;
    } streams[] = {
        {edited([](std::string& line) { line.insert(line.size() - 1, "\r"); }), complete},
        {good.substr(0, good.size() - 1), complete}, // no end of the last line
        {"W: AA 00 21 5C\n" + good, untouched},
        {replaced("C: 16 04 20 05\n", "C: 16 04 21 04\n"), untouched},
        {replaced("X: 150\n", ""), broken},
        {replaced("X: 2\n", "X: 1\n"), broken},
        {edited([](std::string& line) { line = line.substr(0, 200) + '\n'; }), broken},
        {good.substr(0, good.size() / 2), taken}, // nothing tells it from a whole one
        {good.substr(0, good.find("X: 4000\n")) + "X: 4000\n", repeated},
    };
    for (const auto& [text, outcome] : streams) {
        SCOPED_TRACE(text.size());
        Renew();
        const gauge_content before = *gauge_flash(&model);
        stream = text;
        EXPECT_TRUE(Start());
        now += 1000; // what it was doing comes to its end
        const bool same = std::memcmp(&before, gauge_flash(&model), sizeof before) == 0;
        EXPECT_EQ(same, outcome == untouched);
        EXPECT_EQ(streamWaits, outcome != complete && outcome != taken);
        EXPECT_EQ(gauge_address(&model) == GAUGE_ADDRESS, outcome >= complete);
        stream = good;
        streamWaits = true;
        EXPECT_TRUE(Start());
        EXPECT_EQ(Missing(), "");
    }
}

} // namespace
} // namespace vantorel
