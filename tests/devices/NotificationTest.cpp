// What all services have in common, proved on each of them: who is told, in which order, and whose
// errors are reported.

#include "tests/devices/FakeCard.h"
#include "tests/support/TemporaryDirectory.h"
#include "vantorel/devices/Button.h"
#include "vantorel/devices/ButtonService.h"
#include "vantorel/devices/LCD.h"
#include "vantorel/devices/LCDService.h"
#include "vantorel/devices/Thermometer.h"
#include "vantorel/devices/ThermometerService.h"
#include "vantorel/service/Error.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace vantorel {
namespace {

using test::FailWith;

/** What the observers of a test heard, and the error that they throw at a reading. */
struct Heard {
    void Reading(const std::string& who) {
        lines.push_back(who);
        if (thrown != 0) {
            throw Error(thrown);
        }
    }
    void Failure(const std::string& who, const Error& error) {
        lines.push_back(who + " error " + std::to_string(error.Value()));
    }
    std::vector<std::string> lines;
    int thrown = 0;
};

struct ButtonCase {
    struct Observer final : ButtonObserver {
        Observer(Heard& log, std::string who) : heard(log), name(std::move(who)) {}
        void OnButtonUp(Button&) override { ADD_FAILURE(); }
        void OnButtonDown(Button&) override { heard.Reading(name); }
        void OnButtonError(Button&, Error& error) override { heard.Failure(name, error); }
        Heard& heard;
        std::string name;
    };
    static constexpr bool reportsInterruption = false;

    void Fail(int error) {
        sys->Poll = [error](pollfd*, nfds_t, int) { return error == 0 ? 0 : FailWith(error); };
    }
    void Work() {
        sys->Poll = [](pollfd*, nfds_t, int) { return 1; };
        sys->Read = [](int, void* buffer, std::size_t size) {
            const InputEventRecord press{0, 0, 1, 116, 1};
            return std::memcpy(buffer, &press, sizeof press), static_cast<ssize_t>(size);
        };
    }

    test::ScopedSys sys;
    Button device{"button", "/dev/null", 116};
    ButtonService service{device};
};

struct LCDCase {
    struct Observer final : LCDObserver {
        Observer(Heard& log, std::string who) : heard(log), name(std::move(who)) {}
        void OnLCDDraw(LCD&, std::uint32_t*) override { heard.Reading(name); }
        void OnLCDError(LCD&, Error& error) override { heard.Failure(name, error); }
        Heard& heard;
        std::string name;
    };
    static constexpr bool reportsInterruption = false;

    void Fail(int error) {
        sys->Poll = [error](pollfd*, nfds_t, int) { return error == 0 ? 0 : FailWith(error); };
    }
    void Work() {
        sys->Poll = [](pollfd*, nfds_t, int) { return 1; };
    }

    test::ScopedSys sys;
    test::FakeCard card{sys};
    LCD device{"lcd", "/dev/null"};
    LCDService service{device};
};

struct ThermometerCase {
    struct Observer final : ThermometerObserver {
        Observer(Heard& log, std::string who) : heard(log), name(std::move(who)) {}
        void OnThermometerTemperatureQuery(Thermometer&, float temperature) override {
            EXPECT_EQ(temperature, 45.123f);
            heard.Reading(name);
        }
        void OnThermometerError(Thermometer&, Error& error) override { heard.Failure(name, error); }
        Heard& heard;
        std::string name;
    };
    static constexpr bool reportsInterruption = true;

    void Fail(int error) {
        sys->Read = [error](int, void*, std::size_t) { return FailWith(error); };
    }
    void Work() { sys->Read = nullptr; }

    test::TemporaryDirectory sensor;
    test::ScopedSys sys;
    Thermometer device{"thermometer", sensor.Write("temp", "45123\n")};
    ThermometerService service{device, std::chrono::milliseconds(1)};
};

template <typename Case>
class Notification : public testing::Test {
protected:
    Notification() {
        subject.service.AddObserver(a);
        subject.service.AddObserver(b);
    }
    std::vector<std::string> Cycle() {
        heard.lines.clear();
        subject.service.ServiceFunction();
        std::erase_if(heard.lines, [this](const std::string& line) {
            return drawsBeforeItFails && line.find("error") == std::string::npos;
        });
        return heard.lines;
    }

    Case subject;
    Heard heard;
    typename Case::Observer a{heard, "A"};
    typename Case::Observer b{heard, "B"};
    bool drawsBeforeItFails = false;
};

using Cases = testing::Types<ButtonCase, LCDCase, ThermometerCase>;
TYPED_TEST_SUITE(Notification, Cases);

TYPED_TEST(Notification, TellsReadingsAndErrorsToAllInOrderAndGoesOn) {
    for (int pass = 0; pass < 2; ++pass) {
        this->subject.Work();
        this->drawsBeforeItFails = false;
        EXPECT_THAT(this->Cycle(), testing::ElementsAre("A", "B"));
        this->subject.Fail(EIO);
        this->drawsBeforeItFails = std::is_same_v<TypeParam, LCDCase>;
        EXPECT_THAT(this->Cycle(), testing::ElementsAre("A error 5", "B error 5"));
    }
}

TYPED_TEST(Notification, LetsErrorsOfObserversOut) {
    this->subject.Work();
    this->heard.thrown = EIO;
    EXPECT_THROW(this->Cycle(), Error);
    EXPECT_THAT(this->heard.lines, testing::ElementsAre("A"));
}

TYPED_TEST(Notification, ReportsInterruptedWaitsOnlyWhereNothingWaits) {
    this->drawsBeforeItFails = std::is_same_v<TypeParam, LCDCase>;
    const std::size_t expected = TypeParam::reportsInterruption ? 2 : 0;
    this->subject.Fail(EINTR);
    EXPECT_EQ(this->Cycle().size(), expected);
    this->subject.Fail(ETIMEDOUT);
    EXPECT_EQ(this->Cycle().size(), expected);
}

} // namespace
} // namespace vantorel
