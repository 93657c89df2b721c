// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/fuelgauge/FuelGaugeService.h"

#include "tests/support/CapturedOutput.h"
#include "tests/support/ErrorOf.h"
#include "tests/support/NoThreads.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/kernel/I2c.h"
#include "vantorel/fuelgauge/FuelGauge.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>

namespace vantorel {
namespace {

using namespace std::chrono_literals;
using State = ConnectionState;
using Notes = std::vector<std::string>;

/** A fuel gauge on a bus that records its transfers, without those of its construction. */
struct GaugeOnFakeBus {
    GaugeOnFakeBus() { bus.Take(); }

    test::CapturedOutput output;
    test::ScopedSys sys;
    test::FakeBus bus{sys};
    test::StreamInMemory stream{sys};
    FuelGauge gauge{"gauge", "/dev/null", "/dev/null", 3u};
};

class FuelGaugeTest : public testing::Test, public FuelGaugeObserver, protected GaugeOnFakeBus {
protected:
    void OnFuelGaugeLevelQuery(FuelGauge&, std::uint8_t level) override { Note("level", level); }
    void OnFuelGaugeCurrentQuery(FuelGauge&, std::int16_t mA) override { Note("current", mA); }
    void OnFuelGaugeVoltageQuery(FuelGauge&, float volts) override { Note("volts", volts); }
    void OnFuelGaugeTemperatureQuery(FuelGauge&, float degrees) override {
        Note("celsius", degrees);
    }
    void OnFuelGaugeError(FuelGauge&, Error& error) override { Note("error", error.Value()); }

    template <typename Value>
    void Note(const std::string& what, Value value) {
        heard.push_back(what + " " + std::to_string(value));
        ++notified;
        notified.notify_all();
        if (what == throwsAt) {
            throw Error(EIO);
        }
    }

    /** Returns the notifications of one pass of the service. */
    Notes Pass() {
        FuelGaugeService service(gauge, 0ms);
        service.AddObserver(*this);
        heard.clear();
        service.ServiceFunction();
        return heard;
    }

    /** Returns what a service prints for a change of state, before its first reading. */
    std::string Enter(State newState, State oldState) {
        FuelGaugeService service(gauge, 0ms);
        service.AddObserver(*this);
        notified = 0;
        service.OnConnectionStateChanged(newState, oldState);
        const std::string printed = output.Take();
        if (!printed.empty()) {
            notified.wait(0);
        }
        service.Stop();
        EXPECT_EQ(notified > 0, !printed.empty());
        return printed;
    }

    Notes heard;
    std::string throwsAt;
    std::atomic<int> notified{0};
};

TEST_F(FuelGaugeTest, ReportsABatteryInRomModeAndKeepsThatAddress) {
    bus.answering.clear();
    EXPECT_FALSE(gauge.IsBatteryConnected());
    bus.answering = {0x0B};
    bus.answers[0x0B20] = {42};
    EXPECT_EQ(gauge.Level(), 42) << "a failed probe keeps the address, too";
    gauge.SetAddress(0x55);
    EXPECT_TRUE(gauge.IsBatteryConnected());
    EXPECT_EQ(gauge.Level(), 42);
    bus.answering.clear();
    bus.errors = {{"0b w 00 r 1", EIO}};
    EXPECT_FALSE(gauge.IsBatteryConnected());
}

TEST_F(FuelGaugeTest, RejectsDataThatDoNotFitAMessage) {
    std::vector<std::uint8_t> bytes(0x10000);
    EXPECT_EQ(test::ErrorOf([&] { gauge.ReadRegister(0, bytes.data(), 0xffff); }), EINVAL);
    EXPECT_EQ(test::ErrorOf([&] { gauge.WriteRegister(0, bytes.data(), 0xffff); }), EINVAL);
    EXPECT_EQ(test::ErrorOf([&] { gauge.WriteRegister(0, nullptr, 1); }), EINVAL);
    EXPECT_EQ(test::ErrorOf([&] { gauge.ReadRegister(0, nullptr, 1); }), EINVAL);
    EXPECT_EQ(bus.Take(), "");
}

TEST_F(FuelGaugeTest, ReleasesItsLineAndKeepsNoChipOpen) {
    const auto before = test::CountOpenDescriptors();
    {
        const FuelGauge other("other", "/dev/null", "/dev/null", 4U);
        EXPECT_EQ(test::CountOpenDescriptors(), before + 2) << "its bus and its line";
        EXPECT_EQ(bus.LineRequest().offsets[0], 4U) << "another line resets another chip";
        EXPECT_EQ(bus.LineRequest().num_lines, 1U);
        EXPECT_STREQ(bus.LineRequest().consumer, "other")
            << "whose line it is in the kernel's list";
    }
    EXPECT_EQ(test::CountOpenDescriptors(), before);
}

TEST_F(FuelGaugeTest, ReadsTheSmallestAndLargestWords) {
    const std::pair<std::vector<std::uint8_t>, Notes> words[] = {
        {{0, 0}, {"level 0", "current 0", "volts 0.000000", "celsius -273.149994"}},
        {{0xFF, 0x7F}, {"level 255", "current 32767", "volts 32.766998", "celsius 3003.550049"}},
        {{0x00, 0x80}, {"level 0", "current -32768", "volts 32.768002", "celsius 3003.650146"}},
        {{0xFF, 0xFF}, {"level 255", "current -1", "volts 65.535004", "celsius 6280.350098"}}};
    for (const auto& [word, values] : words) {
        bus.answers = {{0x5520, word}, {0x5522, word}, {0x5508, word}, {0x5506, word}};
        EXPECT_EQ(Pass(), values);
    }
}

TEST_F(FuelGaugeTest, ReportsEachReadingAndFailureInOrder) {
    bus.answers = {
        {0x5520, {87}}, {0x5522, {0x9C, 0xFF}}, {0x5508, {0x74, 0x0E}}, {0x5506, {0xA5, 0x0B}}};
    const Notes reads{"55 w 20 r 1", "55 w 22 r 2", "55 w 08 r 2", "55 w 06 r 2"};
    const Notes values{"level 87", "current -100", "volts 3.700000", "celsius 24.950010"};
    const Notes zeros{"level 0", "current 0", "volts 0.000000", "celsius 0.000000"};
    for (std::size_t failing = 0; failing < reads.size(); ++failing) {
        Notes expected = values;
        expected[failing] = "error 110";
        bus.errors = {{reads[failing], ETIMEDOUT}};
        EXPECT_EQ(Pass(), expected);
        expected[failing] = zeros[failing];
        bus.errors = {{reads[failing], ENXIO}};
        EXPECT_EQ(Pass(), expected);
    }
    bus.errors.clear();
    for (const char* reading : {"level", "current", "volts", "celsius"}) {
        throwsAt = reading; // an error of an observer is not reported as one of the gauge
        EXPECT_THROW(Pass(), Error);
        EXPECT_THAT(heard.back(), testing::StartsWith(reading));
    }
}

TEST_F(FuelGaugeTest, IsReadByAServiceWithoutObservers) {
    FuelGaugeService(gauge, 0ms).ServiceFunction();
    EXPECT_EQ(bus.Take(), "55 w 20 r 1, 55 w 22 r 2, 55 w 08 r 2, 55 w 06 r 2");
}

TEST_F(FuelGaugeTest, StartsOnlyWhenTheFirstDecisionFindsABattery) {
    for (int change = 0; change < 36; ++change) {
        const auto from = static_cast<State>(change / 6);
        const auto to = static_cast<State>(change % 6);
        const bool starts =
            from == State::Undetermined && (to == State::Battery || to == State::BatteryCharger);
        EXPECT_EQ(Enter(to, from), starts ? "FUEL GAUGE SERVICE START\n" : "") << change;
    }
}

TEST_F(FuelGaugeTest, PlaysAPendingStreamInRomModeBeforeItStartsAndKeepsItOnFailure) {
    const std::string key = "address 55, 55 w 00 21 5c";
    const std::string keys = key + ", 55 w 00 47 1e, 55 w 00 b4 b4, 55 w 00 b4 b4, sleep 1000, ";
    const std::string rom = "address 55, 55 w 00 00 0f, sleep 1000";
    const std::string played = ", address 0b, 0b w 04 11";
    const std::string left = ", address 0b, 0b w 00 0f, 0b w 64 0f 00";
    const struct {
        std::set<std::uint16_t> answering;
        const char* text;
        std::map<std::string, int> errors;
        std::string failure, transfers;
    } cases[] = {
        {{0x55, 0x0B},
         "W: 16 04 11",
         {},
         "",
         keys + rom + played + left + ", sleep 4000, address 55, " + keys + "55 w 00 41 00"},
        // In ROM mode the gauge does not acknowledge the reset. The device starts anyway.
        {{0x0B},
         "W: AA 00 14\nX: 1\n",
         {},
         "FUEL FAUGE UPDATE: FAILED WRITE CMD!\n",
         key + ", address 55, 55 w 00 14, " + key},
        {{0x0B}, "W: 16 04 11", {{"0b w 64 0f 00", EIO}}, "", key + played + left + ", " + key},
        // These two failures are not an Error.
        {{0x0B},
         "C: 16 20 01\n",
         {},
         "FUEL GAUGE UPDATE: FAILED COMPARE CMD!\n",
         key + ", address 0b, 0b w 20 r 1, " + key},
        {{0x0B},
         "W: 16\n",
         {},
         "FUEL FAUGE UPDATE: FAILED TO PARSE WRITE CMD!\n",
         key + ", " + key},
    };
    for (const auto& [answering, text, errors, failure, transfers] : cases) {
        const bool fails = answering.size() == 1;
        bus.answering = answering;
        bus.errors = errors;
        stream.text = text;
        stream.waits = true;
        EXPECT_EQ(Enter(State::Battery, State::Undetermined),
                  "FUEL GAUGE UPDATING...\n" + failure +
                      (fails ? "FUEL GAUGE: FLASH UPDATE FAILED\nFUEL GAUGE UPDATE FAILED!\n"
                             : "FUEL GAUGE UPDATE COMPLETE!\n") +
                      "FUEL GAUGE SERVICE START\n");
        EXPECT_THAT(bus.Take(), testing::StartsWith(transfers + ", 55 w 20 r 1")) << text;
        EXPECT_EQ(stream.waits, fails) << text;
    }
}

// A gauge may restart before it acknowledges its reset. Any other bus error is reported.
TEST_F(FuelGaugeTest, ResetsAGaugeThatDoesNotAcknowledgeIt) {
    bus.errors = {{"55 w 00 41 00", ENXIO}};
    EXPECT_EQ(test::ErrorOf([&] { gauge.Reset(); }), 0);
    bus.errors = {{"55 w 00 41 00", ETIMEDOUT}};
    EXPECT_EQ(test::ErrorOf([&] { gauge.Reset(); }), ETIMEDOUT);
}

// Otherwise the device would run without its gauge. The supervisor restarts the application.
TEST_F(FuelGaugeTest, EndsTheProcessWhenTheBusFailsAtTheStartOrNoThreadCanBeCreated) {
    const auto start = [this] {
        Enter(State::Battery, State::Undetermined);
        std::_Exit(0);
    };
    const auto startWithoutThreads = [&] {
        test::AllowNoThreads();
        start();
    };
    EXPECT_EXIT(startWithoutThreads(), testing::KilledBySignal(SIGABRT), "");
    bus.errors = {{"55 w 00 41 00", ETIMEDOUT}};
    EXPECT_EXIT(start(), testing::KilledBySignal(SIGABRT), "");
}

// The connection manager probes for the battery while the service reads the gauge.
TEST_F(FuelGaugeTest, PollsWhileOthersProbeUntilItIsDestroyed) {
    std::atomic<int> wrongAddresses{0};
    sys->Ioctl = [&](int, unsigned long request, void* argument) {
        if (request == I2C_RDWR) {
            const auto& transfer = *static_cast<i2c_rdwr_ioctl_data*>(argument);
            wrongAddresses += transfer.msgs[0].addr != transfer.msgs[transfer.nmsgs - 1].addr;
        }
        return request == I2C_RDWR ? test::FailWith(ENXIO) : 0;
    };
    for (int round = 0; round < 20; ++round) {
        FuelGaugeService service(gauge, 0ms);
        service.AddObserver(*this);
        service.Start();
        for (notified = 0; notified < 50;) {
            EXPECT_FALSE(gauge.IsBatteryConnected());
            gauge.SetAddress(0x55);
        }
    }
    EXPECT_EQ(wrongAddresses, 0);
}

const std::string writeUnreadable = "FUEL FAUGE UPDATE: FAILED TO PARSE WRITE CMD!\n";
const std::string writeFailed = "FUEL FAUGE UPDATE: FAILED WRITE CMD!\n";
const std::string waitUnreadable = "FUEL FAUGE UPDATE: FAILED TO PARSE WAIT CMD!\n";
const std::string compareUnreadable = "FUEL GAUGE UPDATE: FAILED TO PARSE COMPARE CMD!\n";
const std::string compareFailed = "FUEL GAUGE UPDATE: FAILED COMPARE CMD!\n";

class FlashStreamTest : public testing::Test, protected GaugeOnFakeBus {
protected:
    FlashStreamTest() { bus.answering = {0x55, 0x0B}; }

    /** Plays a stream; returns its output and the exception. */
    std::string Played(const std::string& text) {
        stream.text = text;
        const auto thrown = [this]() -> std::string {
            try {
                gauge.ExecuteFlashStream();
                return "";
            } catch (const Error& error) {
                return "Error " + std::to_string(error.Value());
            } catch (const std::invalid_argument&) {
                return "no number";
            } catch (const std::out_of_range&) {
                return "no text";
            } catch (int number) {
                return std::to_string(number);
            }
        }();
        return output.Take() + thrown;
    }
};

TEST_F(FlashStreamTest, ExecutesEachKindOfLine) {
    const std::pair<const char*, const char*> cases[] = {
        {"W: AA 3E 02 00\n", "address 55, 55 w 3e 02 00"},
        {"W: 16 00 0C\n", "address 0b, 0b w 00 0c"},
        {"W: aa 3e 0f fF\n", "address 55, 55 w 3e 0f ff"},
        {"X: 0\nX: -5\nX: 1500\n", "sleep 1500"},
        {";W: AA 3E 02\n\n\r\n W: AA 3E 02\nw: AA 3E 02\nR: AA 00\n", ""},
        {"W: AA 3E 02 \nX: 1 ", "address 55, 55 w 3e 02, sleep 1"}, // no line end
        {"W: AA 3E 02\r\nC: AA 20 57 9C\r\nX: 7\r\n",
         "address 55, 55 w 3e 02, address 55, 55 w 20 r 2, sleep 7"},
    };
    bus.answers[0x5520] = {0x57, 0x9C};
    for (const auto& [text, notes] : cases) {
        EXPECT_EQ(Played(text), "") << text;
        EXPECT_EQ(bus.Take(), notes) << text;
    }
    for (const int size : {96, 97, 100, 4096}) { // a row of the gauge's flash, and more
        std::string data, written;
        for (int byte = 0; byte < size; ++byte) {
            data += " A5";
            written += " a5";
        }
        EXPECT_EQ(Played("W: AA 04" + data), "");
        EXPECT_EQ(bus.Take(), "address 55, 55 w 04" + written);
    }
}

TEST_F(FlashStreamTest, EndsAtALineThatItCannotReadOrThatFails) {
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {writeUnreadable + "no text", {"W", "W: AA", "W: AA 3E", "W: AA 3E 123456789"}},
        {writeUnreadable + "no number",
         {"W: ", "W: AA 3E ", "W: AA 3E\r", "W: GG 3E 02", "W: AA GG 02", "W: AA 3E 02 GG",
          "W: AA 3E 02  00"}},
        {compareUnreadable + "no text", {"C: AA 20"}},
        {compareUnreadable + "no number", {"C: AA 20 ", "C: AA 20 5Z Z5"}},
        {waitUnreadable + "no text", {"X", "X: 3000000000"}},
        {waitUnreadable + "no number", {"X: ", "X: soon"}},
        {writeFailed + "Error 5", {"W: AA 40 02"}},
        {writeFailed + "Error 6", {"W: 18 40 02"}},  // no device has the address
        {writeFailed + "Error 22", {"W: -1 3E 02"}}, // a number, but not an address
        {compareFailed + "22", {"C: AA 20 57 9D", "C: AA 20 56 9C"}},
        {compareFailed + "Error 110", {"C: AA 08 57"}},
    };
    bus.answers[0x5520] = {0x57, 0x9C};
    bus.errors = {{"55 w 40 02", EIO}, {"55 w 08 r 1", ETIMEDOUT}};
    for (const auto& [outcome, lines] : cases) {
        for (const std::string& line : lines) {
            EXPECT_EQ(Played(line + "\nX: 1\n"), outcome) << line;
            EXPECT_THAT(bus.Take(), testing::Not(testing::HasSubstr("sleep"))) << line;
        }
    }
}

} // namespace
} // namespace vantorel
