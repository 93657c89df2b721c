// What all services have in common, proved on each of them: who is told, in which order, and whose
// errors are reported.

#include "tests/devices/FakeCard.h"
#include "vantorel/devices/Button.h"
#include "vantorel/devices/ButtonService.h"
#include "vantorel/devices/LCD.h"
#include "vantorel/devices/LCDService.h"
#include "vantorel/devices/Thermometer.h"
#include "vantorel/devices/ThermometerService.h"
#include "vantorel/service/Error.h"

#include <cstring>

namespace vantorel {
namespace {

/** What the observers of a test heard, and the error that they throw at a reading. */
struct Heard {
    std::string text;
    int thrown = 0;
};

struct Observer final : ButtonObserver, LCDObserver, ThermometerObserver {
    Observer(Heard& log, char as) : heard(log), name(as) {}
    void OnButtonUp(Button&) override { ADD_FAILURE(); }
    void OnButtonDown(Button&) override { Reading(); }
    void OnButtonError(Button&, Error& error) override { Failure(error); }
    void OnLCDDraw(LCD&, std::uint32_t*) override { Reading(); }
    void OnLCDError(LCD&, Error& error) override { Failure(error); }
    void OnThermometerTemperatureQuery(Thermometer&, float temperature) override {
        EXPECT_EQ(temperature, 45.123f);
        Reading();
    }
    void OnThermometerError(Thermometer&, Error& error) override { Failure(error); }

    void Reading() {
        heard.text += name;
        if (heard.thrown != 0) {
            throw Error(heard.thrown);
        }
    }
    void Failure(const Error& error) {
        heard.text += name;
        heard.text += std::to_string(error.Value());
    }

    Heard& heard;
    char name;
};

class Notification : public testing::Test {
protected:
    /** Lets the device deliver what a successful wait and read give, or fail with an error. */
    void Device(const std::string& reading, int error) {
        sys->Poll = [error](pollfd*, nfds_t, int) {
            return error == 0 ? 1 : test::FailWith(error);
        };
        sys->Read = [=](int, void* buffer, std::size_t size) -> ssize_t {
            std::memcpy(buffer, reading.data(), std::min(size, reading.size()));
            return error == 0 ? static_cast<ssize_t>(size) : test::FailWith(error);
        };
    }

    template <typename Service>
    void Prove(Service& service, const std::string& reading, const std::string& interrupted,
               const std::string& failed) {
        service.AddObserver(a);
        service.AddObserver(b);
        const auto cycle = [&](int error) {
            Device(reading, error);
            heard.text.clear();
            service.ServiceFunction();
            return heard.text;
        };
        for (int pass = 0; pass < 2; ++pass) { // goes on after an error
            EXPECT_EQ(cycle(0), "AB");
            EXPECT_EQ(cycle(EIO), failed);
        }
        EXPECT_EQ(cycle(EINTR), interrupted);
        EXPECT_EQ(cycle(ETIMEDOUT).empty(), interrupted.empty());
        heard.thrown = EIO;
        EXPECT_THROW(cycle(0), Error);
        EXPECT_EQ(heard.text, "A");
    }

    test::ScopedSys sys;
    Heard heard;
    Observer a{heard, 'A'};
    Observer b{heard, 'B'};
};

TEST_F(Notification, OfButtons) {
    Button button("button", "/dev/null", 116);
    ButtonService service(button);
    const InputEventRecord press{0, 0, 1, 116, 1};
    const std::string reading(reinterpret_cast<const char*>(&press), sizeof press);
    Prove(service, reading, "", "A5B5");
}

TEST_F(Notification, OfTheDisplayWhichIsDrawnBeforeItFails) {
    test::FakeCard card(sys);
    LCD lcd("lcd", "/dev/null");
    LCDService service(lcd);
    Prove(service, "", "AB", "ABA5B5");
}

TEST_F(Notification, OfThermometersWhichNeverWait) {
    Thermometer thermometer("thermometer", "/dev/null");
    ThermometerService service(thermometer, std::chrono::milliseconds(1));
    Prove(service, "45123\n", "A4B4", "A5B5");
}

} // namespace
} // namespace vantorel
