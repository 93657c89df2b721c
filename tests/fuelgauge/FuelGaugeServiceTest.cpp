#include "vantorel/fuelgauge/FuelGaugeService.h"

#include "tests/fuelgauge/GaugeOnFakeBus.h"
#include "tests/support/CapturedOutput.h"
#include "vantorel/service/Error.h"
#include "vantorel/service/private/StatusLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <functional>
#include <optional>
#include <sstream>

namespace vantorel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::Not;
using Notes = std::vector<std::string>;

class Witness final : public FuelGaugeObserver {
public:
    Witness(Notes& log, std::string witnessName) : notes(log), name(std::move(witnessName)) {}
    void OnFuelGaugeLevelQuery(FuelGauge&, std::uint8_t level) override { Note("level", level); }
    void OnFuelGaugeCurrentQuery(FuelGauge&, std::int16_t current) override {
        Note("current", current);
    }
    void OnFuelGaugeVoltageQuery(FuelGauge&, float volts) override { Note("voltage", volts); }
    void OnFuelGaugeTemperatureQuery(FuelGauge&, float celsius) override {
        Note("temperature", celsius);
    }
    void OnFuelGaugeError(FuelGauge&, Error& error) override { Note("error", error.Value()); }

    std::string throwsAt;

private:
    template <typename Value>
    void Note(const std::string& what, Value value) {
        std::ostringstream text;
        text << name << what << ' ' << +value;
        notes.push_back(text.str());
        if (what == throwsAt) {
            throw Error(EIO);
        }
    }
    Notes& notes;
    std::string name;
};

class FuelGaugeServiceTest : public testing::Test {
protected:
    /** One pass with these observers. */
    Notes Pass(std::initializer_list<Witness*> observers) {
        FuelGaugeService service(*device.gauge, 0ms);
        for (Witness* observer : observers) {
            service.AddObserver(*observer);
        }
        heard.clear();
        service.ServiceFunction();
        return heard;
    }

    test::GaugeOnFakeBus device;
    Notes heard;
    Witness a{heard, ""};
    Witness b{heard, "b "};
};

TEST_F(FuelGaugeServiceTest, TellsReadingsAndFailuresToAllInOrderEachOnItsOwn) {
    const Notes reads{"55 w 20 r 1", "55 w 22 r 2", "55 w 08 r 2", "55 w 06 r 2"};
    device.bus.Answer(0x55, 0x20, {87});
    device.bus.Answer(0x55, 0x22, {0x9C, 0xFF});
    device.bus.Answer(0x55, 0x08, {0x74, 0x0E});
    device.bus.Answer(0x55, 0x06, {0xA5, 0x0B});
    const Notes values{"level 87", "current -100", "voltage 3.7", "temperature 24.95"};
    const Notes zeros{"level 0", "current 0", "voltage 0", "temperature 0"};
    for (int pass = 0; pass < 2; ++pass) {
        EXPECT_EQ(Pass({&a}), values);
        for (std::size_t failing = 0; failing < reads.size(); ++failing) {
            device.bus.errors = {{reads[failing], ETIMEDOUT}};
            Notes expected = values;
            expected[failing] = "error 110";
            EXPECT_EQ(Pass({&a}), expected);
            device.bus.errors = {{reads[failing], ENXIO}};
            expected[failing] = zeros[failing];
            EXPECT_EQ(Pass({&a}), expected);
        }
        for (const std::string& read : reads) {
            device.bus.errors[read] = EREMOTEIO;
        }
        EXPECT_EQ(Pass({&a, &b}), (Notes{"error 121", "b error 121", "error 121", "b error 121",
                                         "error 121", "b error 121", "error 121", "b error 121"}));
        device.bus.errors.clear();
    }
    device.bus.answering.clear();
    EXPECT_EQ(Pass({&a}), zeros);
    device.bus.Take();
    Pass({});
    EXPECT_EQ(device.bus.Take(), reads);
}

TEST_F(FuelGaugeServiceTest, LetsErrorsOfObserversOut) {
    for (const char* reading : {"level", "current", "voltage", "temperature"}) {
        a.throwsAt = reading;
        EXPECT_THROW(Pass({&a, &b}), Error);
        EXPECT_THAT(heard.back(), testing::StartsWith(reading));
        EXPECT_THAT(heard, Not(testing::Contains(testing::HasSubstr("error"))));
    }
}

/** A service whose first pause lasts until the end of the test, and a stream that may wait. */
class FuelGaugeServiceStart : public testing::Test {
protected:
    FuelGaugeServiceStart() {
        device.bus.answering = {0x55, 0x0B};
        device.sys->Access = [this](const char*, int) {
            return stream.empty() ? test::FailWith(ENOENT) : 0;
        };
        device.sys->Read = [this](int, void* buffer, std::size_t size) {
            const std::string part = std::exchange(unread, {});
            EXPECT_LT(part.size(), size);
            std::memcpy(buffer, part.data(), part.size());
            return static_cast<ssize_t>(part.size());
        };
        device.sys->Unlink = [this](const char*) { return stream.clear(), 0; };
        device.sys->Nanosleep = [this](const timespec* request, timespec*) {
            if (request->tv_sec == pause.count()) {
                polling = true;
                polling.notify_all();
                released.wait(false);
            } else {
                PrintStatus("sleep ", request->tv_sec * 1000 + request->tv_nsec / 1'000'000);
            }
            return 0;
        };
        Restart();
    }
    ~FuelGaugeServiceStart() override { End(); }

    void End() {
        released = true;
        released.notify_all();
        service.reset();
    }
    void Restart() {
        End();
        released = polling = false;
        service.emplace(*device.gauge, pause);
    }
    void Enter(int newState, int oldState) {
        service->OnConnectionStateChanged(static_cast<ConnectionState>(newState),
                                          static_cast<ConnectionState>(oldState));
    }
    /** What a start with this stream prints, once it polls; waits of the gauge among it. */
    std::string Start(const std::string& text) {
        Restart();
        stream = unread = text;
        const int open = text.empty() ? -1 : ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        device.sys->Open = [open](const char*, int, unsigned) { return open; };
        output.Take();
        Enter(1, 0);
        polling.wait(false);
        return output.Take();
    }

    static constexpr std::chrono::seconds pause{600};
    test::CapturedOutput output;
    test::GaugeOnFakeBus device;
    std::string stream, unread;
    std::atomic<bool> polling{false};
    std::atomic<bool> released{false};
    std::optional<FuelGaugeService> service;
};

TEST_F(FuelGaugeServiceStart, HappensOnlyWhenTheFirstDecisionFindsABattery) {
    for (int oldState = 0; oldState <= 5; ++oldState) {
        for (int newState = 0; newState <= 5; ++newState) {
            Restart();
            Enter(newState, oldState);
            const bool expected = oldState == 0 && (newState == 1 || newState == 2);
            EXPECT_EQ(output.Take(), expected ? "FUEL GAUGE SERVICE START\nsleep 1000\n" : "")
                << oldState << " -> " << newState;
            if (expected) {
                polling.wait(false);
            }
            End();
            EXPECT_EQ(polling, expected);
        }
    }
}

TEST_F(FuelGaugeServiceStart, PlaysAWaitingStreamFirst) {
    EXPECT_EQ(Start("X: 7\n"),
              "FUEL GAUGE UPDATING...\nsleep 1000\nsleep 1000\nsleep 7\nsleep 4000\n"
              "FUEL GAUGE UPDATE COMPLETE!\nFUEL GAUGE SERVICE START\nsleep 1000\n");
    EXPECT_EQ(stream, "");
    const std::string failing =
        "FUEL GAUGE UPDATE: FAILED COMPARE CMD!\nFUEL GAUGE: FLASH UPDATE FAILED\n"
        "FUEL GAUGE UPDATE FAILED!\nFUEL GAUGE SERVICE START\n";
    EXPECT_EQ(Start("C: 16 04 11\n"),
              "FUEL GAUGE UPDATING...\nsleep 1000\nsleep 1000\n" + failing + "sleep 1000\n");
    EXPECT_EQ(stream, "C: 16 04 11\n");

    // Left in ROM mode by that, the gauge acknowledges no reset: the device starts all the same.
    device.bus.answering = {0x0B};
    EXPECT_EQ(Start("C: 16 04 11\n"), "FUEL GAUGE UPDATING...\n" + failing);
    EXPECT_EQ(Start("W: 16 04 11\n"), "FUEL GAUGE UPDATING...\nsleep 4000\n"
                                      "FUEL GAUGE UPDATE COMPLETE!\nFUEL GAUGE SERVICE START\n");
    EXPECT_EQ(Start(""), "FUEL GAUGE SERVICE START\n");
}

TEST_F(FuelGaugeServiceStart, EndsTheProcessWhenTheBusFails) {
    for (const char* transfer : {"55 w 00 21 5c", "55 w 00 41 00"}) {
        device.bus.errors = {{transfer, ETIMEDOUT}};
        EXPECT_EXIT(
            {
                Enter(1, 0);
                std::_Exit(0);
            },
            testing::KilledBySignal(SIGABRT), "");
    }
}

// Two of the four readings fail; destruction comes in the middle of it.
TEST(FuelGaugeServiceThreads, IsDestroyedWhileItPolls) {
    test::CapturedOutput output;
    test::GaugeOnFakeBus device;
    device.sys->Access = [](const char*, int) { return test::FailWith(ENOENT); };
    device.bus.errors = {{"55 w 22 r 2", ETIMEDOUT}, {"55 w 06 r 2", EIO}};
    struct Counter final : FuelGaugeObserver {
        void OnFuelGaugeLevelQuery(FuelGauge&, std::uint8_t) override {}
        void OnFuelGaugeCurrentQuery(FuelGauge&, std::int16_t) override {}
        void OnFuelGaugeVoltageQuery(FuelGauge&, float) override {}
        void OnFuelGaugeTemperatureQuery(FuelGauge&, float) override {}
        void OnFuelGaugeError(FuelGauge&, Error&) override { ++errors; }
        std::atomic<int> errors{0};
    } counter;
    for (int round = 0; round < 20; ++round) {
        FuelGaugeService service(*device.gauge, 0ms);
        service.AddObserver(counter);
        counter.errors = 0;
        service.OnConnectionStateChanged(ConnectionState::Battery, ConnectionState::Undetermined);
        while (counter.errors < 5) {
            std::this_thread::yield();
        }
    }
}

} // namespace
} // namespace vantorel
