#include "tests/fuelgauge/FakeBus.h"
#include "vantorel/service/Error.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <stdexcept>

namespace vantorel {
namespace {

const std::string writeUnreadable = "FUEL FAUGE UPDATE: FAILED TO PARSE WRITE CMD!\n";
const std::string writeFailed = "FUEL FAUGE UPDATE: FAILED WRITE CMD!\n";
const std::string waitUnreadable = "FUEL FAUGE UPDATE: FAILED TO PARSE WAIT CMD!\n";
const std::string compareUnreadable = "FUEL GAUGE UPDATE: FAILED TO PARSE COMPARE CMD!\n";
const std::string compareFailed = "FUEL GAUGE UPDATE: FAILED COMPARE CMD!\n";

class FlashStreamTest : public testing::Test, protected test::GaugeOnFakeBus {
protected:
    FlashStreamTest() { bus.answering = {0x55, 0x0B}; }

    /** What playing a stream prints, and what it throws. */
    std::string Played(const std::string& text) {
        stream.text = text;
        const auto thrown = [this]() -> std::string {
            try {
                gauge->ExecuteFlashStream();
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

TEST_F(FlashStreamTest, PlaysWhatALineSays) {
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
        {writeFailed + "Error 6", {"W: 18 40 02"}},  // nobody there
        {writeFailed + "Error 22", {"W: -1 3E 02"}}, // a number, but no address
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
