// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Plays complete streams against the virtual device's model of the gauge and interrupts them at
// every step. The next start must find the gauge and complete the update.

#include "tests/support/CapturedOutput.h"
#include "tests/support/kernel/I2c.h"
#include "vantorel/fuelgauge/FuelGauge.h"

#include <cstring>
#include <sstream>
#include <string>
#include <string_view>

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

const std::string wholeStream =
#include "gauge.inc"
    ;
const std::string vendorFirmware =
#include "firmware.inc"
    ;
const std::string convertedFirmware =
#include "firmware-converted.inc"
    ;
const std::string vendorData =
#include "data.inc"
    ;
const std::string convertedData =
#include "data-converted.inc"
    ;

// The test uses every stride-th moment, and interrupts every twice-th of these again in the next
// start, which takes far longer. 61 and 67 are primes, because the lines of a stream come in groups
// of four.
#if defined(VANTOREL_ADDRESS_SANITIZER) || defined(__arm__)
constexpr std::size_t stride = 61;
constexpr std::size_t twice = 8;
#else
constexpr std::size_t stride = 1;
constexpr std::size_t twice = 67;
#endif

/** The part of the device's start that concerns the gauge, repeated with the same gauge. */
class InterruptedUpdate : public testing::Test {
protected:
    /** The state just before a transfer, a wait or the deletion of the stream. */
    struct Moment {
        gauge model;
        std::uint64_t time;
        bool streamWaits;
        std::vector<std::uint8_t> message; // what would be written
    };

    InterruptedUpdate() {
        stream.text = wholeStream;
        sys->Unlink = [this](const char*) {
            Note({});
            stream.waits = false;
            Note({});
            return 0;
        };
        sys->Nanosleep = [this](const timespec* pause, timespec*) {
            Note({});
            now += static_cast<std::uint64_t>(pause->tv_sec * 1000 + pause->tv_nsec / 1'000'000);
            return 0;
        };
        chip.opensLines = false;
        InstallFirst();
        const auto lines = static_cast<std::size_t>(std::ranges::count(wholeStream, '\n'));
        EXPECT_GT(whole.size() + 10, lines); // some lines are comments
    }

    /** Installs the stream and records its moments and the resulting flash; then resets all. */
    void InstallFirst() {
        Renew();
        whole = StartNoting();
        updated = *gauge_flash(&model);
        Renew();
    }

    void Renew() {
        now = 0;
        gauge_init(&model);
        stream.waits = true;
    }
    void GoTo(const Moment& moment) {
        model = moment.model;
        now = moment.time;
        stream.waits = moment.streamWaits;
    }

    /**
     * Starts once and must find the gauge. No failure ends the start. In the service some failures
     * of the reset do; they leave the gauge in the same state.
     */
    void Start() {
        now += 2500;
        transfers = 0;
        FuelGauge driver("gauge", "/dev/null", "/dev/null", 3u);
        EXPECT_TRUE(driver.IsBatteryConnected());
        for (const auto step : {&FuelGauge::Update, &FuelGauge::Reset}) {
            try {
                (driver.*step)();
            } catch (...) {
            }
        }
    }
    std::vector<Moment> StartNoting() {
        std::vector<Moment> moments;
        notes = &moments;
        Start();
        notes = nullptr;
        return moments;
    }

    /** Starts; then the gauge must work with the content of the stream. */
    void Complete() {
        Start();
        EXPECT_EQ(std::memcmp(gauge_flash(&model), &updated, sizeof updated), 0);
        EXPECT_FALSE(stream.waits);
        std::uint8_t level = GAUGE_STATE_OF_CHARGE;
        now += model.reset_ms;
        gauge_write(&model, GAUGE_ADDRESS, &level, 1);
        gauge_read(&model, GAUGE_ADDRESS, &level, 1);
        EXPECT_EQ(level, 80);
    }

    test::CapturedOutput output;
    test::ScopedSys sys;
    test::StreamInMemory stream{sys};
    test::IoctlRecorder ioctls{sys};
    test::FakeChip chip{ioctls, GPIO_V2_LINE_FLAG_OUTPUT};
    test::I2cBus bus{ioctls, [this](const test::I2cTransfer& t) { return Transfer(t); }};
    gauge model;
    std::vector<Moment> whole; // of a start without an interruption
    gauge_content updated;     // the flash after that start
    int transfers = 0;
    int failingTransfer = 0; // counted from 1
    int failure = 0;         // its errno; 0 for a wrong bit in the data read

private:
    void Note(std::vector<std::uint8_t> message) {
        if (notes != nullptr) {
            notes->push_back({model, now, stream.waits, std::move(message)});
        }
    }

    int Transfer(const test::I2cTransfer& transfer) {
        const auto& [place, written, read] = transfer;
        Note({written.begin(), written.end()});
        const bool fails = ++transfers == failingTransfer;
        if (fails && failure != 0) {
            return failure;
        }
        const auto address = static_cast<std::uint8_t>(place);
        if (gauge_write(&model, address, written.data(), written.size()) != 0 ||
            (!read.empty() && gauge_read(&model, address, read.data(), read.size()) != 0)) {
            return ENXIO;
        }
        if (fails && !read.empty()) {
            read[0] ^= 1;
        }
        return 0;
    }

    std::vector<Moment>* notes = nullptr;
};

TEST_F(InterruptedUpdate, IsCompletedByTheNextStartWhereverThePowerWent) {
    enum Cut { before, within, withTheBattery };
    for (std::size_t i = 0; i < whole.size(); i += stride) {
        for (const Cut cut : {before, within, withTheBattery}) {
            SCOPED_TRACE(testing::Message() << "moment " << i << ", cut " << cut);
            const auto& message = whole[i].message;
            // A message can be cut from two bytes on. A gauge in ROM mode loses only data that it
            // is writing.
            const bool inRomMode = gauge_address(&whole[i].model) == GAUGE_ROM_ADDRESS;
            if ((cut == within && message.size() < 2) ||
                (cut == withTheBattery && inRomMode && !message.empty())) {
                continue;
            }
            GoTo(whole[i]);
            if (cut == within) {
                gauge_write(&model, gauge_address(&model), message.data(), message.size() / 2);
            } else if (cut == withTheBattery) {
                gauge_power_cycle(&model);
            }
            if (i / stride % twice == 0) { // cut again during the next start
                const std::vector<Moment> second = StartNoting();
                GoTo(second[i * 7 % second.size()]);
                gauge_power_cycle(&model);
            }
            Complete();
        }
    }
}

// Not acknowledged, timed out, arbitration lost, or read with a wrong bit.
TEST_F(InterruptedUpdate, IsCompletedByTheNextStartAfterAnyFailedTransfer) {
    const int failures[] = {ENXIO, ETIMEDOUT, EAGAIN, 0};
    const int count = transfers;
    for (int i = 2; i <= count; i += static_cast<int>(stride)) {
        SCOPED_TRACE(i);
        Renew();
        failingTransfer = i;
        failure = failures[i % 4];
        Start();
        failingTransfer = 0;
        Complete();
    }
}

// The wrong streams: one for another gauge, one whose long lines are truncated, one that leaves ROM
// mode itself, one that then expects another firmware version, and one that begins by unsealing the
// gauge, which no longer responds at that address.
TEST_F(InterruptedUpdate, IsCompletedByTheRightStreamAfterAWrongOne) {
    const std::string good = stream.text;
    std::string another = good;
    const std::string_view check = "C: 16 04 20 05";
    another.replace(another.find(check), check.size(), "C: 16 04 21 04");
    std::string truncated;
    std::istringstream lines(good);
    for (std::string line; std::getline(lines, line);) {
        truncated += line.substr(0, 200) + '\n';
    }
    const std::string leaves = "W: 16 00 0F\nW: 16 64 0F 00\nX: 4000\n";
    const std::string wrong[] = {another, truncated, good + leaves,
                                 good + leaves + "W: AA 00 02 00\nC: AA 00 09 09\n",
                                 "W: AA 00 21 5C\nW: AA 00 47 1E\n" + good};
    for (const std::string& text : wrong) {
        Renew();
        stream.text = text;
        Start();
        EXPECT_TRUE(stream.waits) << &text - wrong;
        now += 1000; // the gauge completes its current operation
        stream.text = good;
        Complete();
    }
}

// Its file may be damaged. A target beyond the flash would be written outside of it.
TEST(StoredGauge, IsRefusedWithATargetBeyondItsFlash) {
    gauge model;
    gauge_init(&model);
    for (const auto& [operation, target, accepted] : {std::tuple{GAUGE_PROGRAMS_BLOCK, 63, true},
                                                      {GAUGE_PROGRAMS_BLOCK, 64, false},
                                                      {GAUGE_PROGRAMS_ROW, 255, true},
                                                      {GAUGE_PROGRAMS_ROW, 256, false},
                                                      {GAUGE_IDLE, 255, true}}) {
        gauge_memory stored = model.memory;
        stored.operation = operation;
        stored.target = static_cast<std::uint16_t>(target);
        EXPECT_EQ(gauge_restore(&model, &stored), accepted) << operation << ", " << target;
    }
}

// The stream first compares the type, so no start changes a gauge of another type.
TEST_F(InterruptedUpdate, LeavesAGaugeOfAnotherTypeAsItIs) {
    Renew();
    model.memory.type = GAUGE_DEVICE_TYPE + 1;
    const gauge_content before = *gauge_flash(&model);
    for (int starts = 0; starts < 3; ++starts) {
        Start();
        EXPECT_TRUE(stream.waits);
        EXPECT_EQ(std::memcmp(gauge_flash(&model), &before, sizeof before), 0);
    }
    gauge_init(&model); // the right gauge is fitted
    Complete();
}

// The other player neither enters nor leaves ROM mode by itself.
TEST_F(InterruptedUpdate, InstallsAStreamForAnotherPlayerOnlyAfterConversion) {
    for (const auto& [vendor, converted] :
         {std::pair{&vendorFirmware, &convertedFirmware}, {&vendorData, &convertedData}}) {
        SCOPED_TRACE(vendor == &vendorData ? "with data" : "firmware alone");
        stream.text = *vendor;
        Renew();
        const gauge_content before = *gauge_flash(&model);
        for (int starts = 0; starts < 3; ++starts) {
            Start();
            EXPECT_TRUE(stream.waits);
        }
        EXPECT_EQ(std::memcmp(gauge_flash(&model), &before, sizeof before), 0);

        // Play all lines without the steps that the device adds, as the other player does.
        stream.text = *vendor;
        Renew();
        now += 2500;
        FuelGauge("gauge", "/dev/null", "/dev/null", 3u).ExecuteFlashStream();
        const gauge_content meant = *gauge_flash(&model);
        EXPECT_NE(std::memcmp(&meant, &before, sizeof before), 0);

        stream.text = *converted;
        InstallFirst();
        EXPECT_EQ(std::memcmp(&updated, &meant, sizeof meant), 0);
        for (std::size_t i = 0; i < whole.size(); i += 31 * stride) {
            SCOPED_TRACE(i);
            GoTo(whole[i]);
            gauge_power_cycle(&model);
            Complete();
        }
    }
}

} // namespace
} // namespace vantorel
