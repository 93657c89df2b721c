#include "vantorel/fuelgauge/FuelGaugeService.h"

#include "tests/fuelgauge/GaugeOnFakeBus.h"
#include "tests/support/ErrorOf.h"
#include "tests/support/OpenDescriptors.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <iomanip>
#include <sstream>

namespace vantorel {
namespace {

using namespace std::chrono_literals;
using test::ErrorOf;
using State = ConnectionState;
using Notes = std::vector<std::string>;

const std::string reset = "address 55, 55 w 00 21 5c, 55 w 00 47 1e, 55 w 00 b4 b4, "
                          "55 w 00 b4 b4, sleep 1000, 55 w 00 41 00";

class Witness final : public FuelGaugeObserver {
public:
    explicit Witness(Notes& log) : notes(log) {}
    void OnFuelGaugeLevelQuery(FuelGauge&, std::uint8_t level) override { Note("level", level); }
    void OnFuelGaugeCurrentQuery(FuelGauge&, std::int16_t mA) override { Note("current", mA); }
    void OnFuelGaugeVoltageQuery(FuelGauge&, float volts) override { Note("volts", volts); }
    void OnFuelGaugeTemperatureQuery(FuelGauge&, float degrees) override {
        Note("celsius", degrees);
    }
    void OnFuelGaugeError(FuelGauge&, Error& error) override { Note("error", error.Value()); }

    std::string throwsAt;
    std::atomic<int> told{0};

private:
    template <typename Value>
    void Note(const std::string& what, Value value) {
        std::ostringstream text;
        text << what << ' ' << std::setprecision(9) << +value;
        notes.push_back(text.str());
        ++told;
        told.notify_all();
        if (what == throwsAt) {
            throw Error(EIO);
        }
    }
    Notes& notes;
};

class FuelGaugeTest : public testing::Test, protected test::GaugeOnFakeBus {
protected:
    /** One pass with so many observers. */
    Notes Pass(int observers = 1) {
        FuelGaugeService service(*gauge, 0ms);
        for (; observers > 0; --observers) {
            service.AddObserver(witness);
        }
        heard.clear();
        service.ServiceFunction();
        return heard;
    }

    /** What a service prints when it is told a change, before its first reading. */
    std::string Enter(State newState, State oldState) {
        FuelGaugeService service(*gauge, 0ms);
        service.AddObserver(witness);
        witness.told = 0;
        output.Take();
        service.OnConnectionStateChanged(newState, oldState);
        const std::string printed = output.Take();
        if (!printed.empty()) {
            witness.told.wait(0);
        }
        service.Stop();
        EXPECT_EQ(witness.told > 0, !printed.empty());
        return printed;
    }

    Notes heard;
    Witness witness{heard};
};

TEST_F(FuelGaugeTest, HoldsItsLineAsAnOutputForItsLife) {
    const auto during = test::CountOpenDescriptors();
    EXPECT_EQ(bus.line.num_lines, 1u);
    EXPECT_EQ(bus.line.offsets[0], 3u);
    EXPECT_EQ(bus.line.config.flags, 8u);
    EXPECT_EQ(bus.line.config.num_attrs, 0u);
    EXPECT_STREQ(bus.line.consumer, "gauge");
    gauge.reset();
    EXPECT_EQ(test::CountOpenDescriptors(), during - 2); // bus and line, not the chip
}

TEST_F(FuelGaugeTest, FindsTheBatteryByItsFlag) {
    for (const int flags : {0x00, 0x08, 0xF7, 0xFF}) {
        bus.answers[0x550A] = {static_cast<std::uint8_t>(flags)};
        EXPECT_EQ(gauge->IsBatteryConnected(), (flags & 8) != 0) << flags;
        EXPECT_EQ(bus.Take(), "55 w 0a r 1");
    }
    bus.errors = {{"55 w 0a r 1", EIO}};
    EXPECT_EQ(ErrorOf([&] { gauge->IsBatteryConnected(); }), EIO);
    EXPECT_EQ(bus.Take(), "55 w 0a r 1");
}

TEST_F(FuelGaugeTest, FindsAGaugeInRomModeAndStaysWithIt) {
    bus.answering = {0x0B};
    bus.answers[0x0B20] = {42};
    EXPECT_TRUE(gauge->IsBatteryConnected());
    EXPECT_EQ(gauge->Level(), 42);
    EXPECT_EQ(bus.Take(), "55 w 0a r 1, address 0b, 0b w 00 r 1, 0b w 20 r 1");
    bus.answering.clear();
    EXPECT_FALSE(gauge->IsBatteryConnected());
    bus.errors = {{"0b w 00 r 1", EIO}};
    EXPECT_FALSE(gauge->IsBatteryConnected());
    bus.slaveError = EBUSY;
    EXPECT_FALSE(gauge->IsBatteryConnected());
}

TEST_F(FuelGaugeTest, IsResetAfterItsKeysAndMayBeGoneBeforeItAcknowledges) {
    gauge->SetAddress(0x0B);
    bus.Take();
    bus.errors = {{"55 w 00 41 00", ENXIO}};
    gauge->Reset();
    EXPECT_EQ(bus.Take(), "address 55, 55 w 00 21 5c, 55 w 00 47 1e, 55 w 00 b4 b4, 55 w 00 b4 b4, "
                          "sleep 1000, 55 w 00 41 00");
}

TEST_F(FuelGaugeTest, RefusesWhatNoMessageCanHold) {
    std::vector<std::uint8_t> bytes(0x10000);
    EXPECT_EQ(ErrorOf([&] { gauge->ReadRegister(0, nullptr, 1); }), EINVAL);
    EXPECT_EQ(ErrorOf([&] { gauge->ReadRegister(0, bytes.data(), 0xffff); }), EINVAL);
    EXPECT_EQ(ErrorOf([&] { gauge->WriteRegister(0, bytes.data(), 0xffff); }), EINVAL);
    EXPECT_EQ(bus.Take(), "");
    EXPECT_EQ(ErrorOf([&] { gauge->WriteRegister(0, bytes.data(), 0xfffe); }), 0);
}

TEST_F(FuelGaugeTest, TellsReadingsAndFailuresToAllInOrderEachOnItsOwn) {
    const Notes reads{"55 w 20 r 1", "55 w 22 r 2", "55 w 08 r 2", "55 w 06 r 2"};
    bus.answers = {
        {0x5520, {255}}, {0x5522, {0xFF, 0x7F}}, {0x5508, {0xFF, 0xFF}}, {0x5506, {0, 0}}};
    EXPECT_EQ(Pass(),
              (Notes{"level 255", "current 32767", "volts 65.5350037", "celsius -273.149994"}));
    EXPECT_EQ(bus.Take(), "55 w 20 r 1, 55 w 22 r 2, 55 w 08 r 2, 55 w 06 r 2");
    bus.answers = {
        {0x5520, {87}}, {0x5522, {0x9C, 0xFF}}, {0x5508, {0x74, 0x0E}}, {0x5506, {0xA5, 0x0B}}};
    const Notes values{"level 87", "current -100", "volts 3.70000005", "celsius 24.9500103"};
    const Notes zeros{"level 0", "current 0", "volts 0", "celsius 0"};
    EXPECT_EQ(Pass(), values);
    for (std::size_t failing = 0; failing < reads.size(); ++failing) {
        Notes expected = values;
        expected[failing] = "error 110";
        bus.errors = {{reads[failing], ETIMEDOUT}};
        EXPECT_EQ(Pass(), expected);
        expected[failing] = zeros[failing];
        bus.errors = {{reads[failing], ENXIO}};
        EXPECT_EQ(Pass(), expected);
    }
    bus.answering.clear();
    bus.errors = {{reads[2], EREMOTEIO}};
    EXPECT_EQ(Pass(2), (Notes{"level 0", "level 0", "current 0", "current 0", "error 121",
                              "error 121", "celsius 0", "celsius 0"}));
}

TEST_F(FuelGaugeTest, LetsErrorsOfObserversOut) {
    for (const char* reading : {"level", "current", "volts", "celsius"}) {
        witness.throwsAt = reading;
        EXPECT_THROW(Pass(2), Error);
        EXPECT_THAT(heard.back(), testing::StartsWith(reading));
        EXPECT_THAT(heard, testing::Not(testing::Contains(testing::HasSubstr("error"))));
    }
}

TEST_F(FuelGaugeTest, StartsOnlyWhenTheFirstDecisionFindsABattery) {
    for (int change = 0; change < 36; ++change) {
        const auto from = static_cast<State>(change / 6);
        const auto to = static_cast<State>(change % 6);
        const bool starts =
            from == State::Undetermined && (to == State::Battery || to == State::BatteryCharger);
        EXPECT_EQ(Enter(to, from), starts ? "FUEL GAUGE SERVICE START\n" : "") << change;
        EXPECT_EQ(bus.Take().starts_with(reset), starts) << change;
    }
}

TEST_F(FuelGaugeTest, PlaysAWaitingStreamBeforeItStarts) {
    const std::string complete = "FUEL GAUGE UPDATE COMPLETE!\n";
    const std::string failed = "FUEL GAUGE UPDATE: FAILED COMPARE CMD!\n"
                               "FUEL GAUGE: FLASH UPDATE FAILED\nFUEL GAUGE UPDATE FAILED!\n";
    const struct {
        std::set<std::uint16_t> answering;
        const char* text;
        std::string printed, end; // of the update on the bus
    } cases[] = {
        {{0x55, 0x0B}, "X: 7\n", complete, "sleep 4000, address 55, " + reset},
        {{0x55, 0x0B}, "C: 16 04 11\n", failed, "0b w 04 r 1, " + reset},
        // Left in ROM mode by that, the gauge acknowledges no reset: the device starts all the
        // same.
        {{0x0B}, "C: 16 04 11\n", failed, "0b w 04 r 1, address 55, 55 w 00 21 5c"},
        {{0x0B}, "W: 16 04 11\n", complete, "sleep 4000, address 55, address 55, 55 w 00 21 5c"},
    };
    for (const auto& [answering, text, printed, end] : cases) {
        bus.answering = answering;
        stream.text = text;
        stream.waits = true;
        EXPECT_EQ(Enter(State::Battery, State::Undetermined),
                  "FUEL GAUGE UPDATING...\n" + printed + "FUEL GAUGE SERVICE START\n");
        EXPECT_THAT(bus.Take(), testing::HasSubstr(end + ", 55 w 20 r 1")) << text;
        EXPECT_EQ(stream.waits, printed == failed);
    }
}

TEST_F(FuelGaugeTest, EndsTheProcessWhenTheBusFailsAtTheStart) {
    for (const char* transfer : {"55 w 00 21 5c", "55 w 00 41 00"}) {
        bus.errors = {{transfer, ETIMEDOUT}};
        FuelGaugeService service(*gauge, 0ms);
        EXPECT_EXIT(
            {
                service.OnConnectionStateChanged(State::Battery, State::Undetermined);
                std::_Exit(0);
            },
            testing::KilledBySignal(SIGABRT), "");
    }
}

// The connection manager looks for the battery while the service reads the gauge, and two of the
// four readings fail; destruction comes in the middle of it.
TEST_F(FuelGaugeTest, PollsWhileOthersProbeUntilItIsDestroyed) {
    std::atomic<int> wrongAddresses{0};
    sys->Ioctl = [&](int, unsigned long request, void* argument) {
        if (request != I2C_RDWR) {
            return 0;
        }
        const auto& transfer = *static_cast<i2c_rdwr_ioctl_data*>(argument);
        const i2c_msg& first = transfer.msgs[0];
        wrongAddresses += first.addr != 0x55 && first.addr != 0x0B;
        wrongAddresses += first.addr != transfer.msgs[transfer.nmsgs - 1].addr;
        return test::FailWith(first.buf[0] == 0x22 || first.buf[0] == 0x06 ? EIO : ENXIO);
    };
    for (int round = 0; round < 20; ++round) {
        FuelGaugeService service(*gauge, 0ms);
        service.AddObserver(witness);
        service.Start();
        for (witness.told = 0; witness.told < 50;) {
            EXPECT_FALSE(gauge->IsBatteryConnected());
            gauge->SetAddress(0x55);
        }
    }
    EXPECT_EQ(wrongAddresses, 0);
}

} // namespace
} // namespace vantorel
