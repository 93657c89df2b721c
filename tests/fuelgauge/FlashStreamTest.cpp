#include "tests/fuelgauge/GaugeOnFakeBus.h"
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
const std::string updateFailed = "FUEL GAUGE: FLASH UPDATE FAILED\n";

class FlashStreamTest : public testing::Test, protected test::GaugeOnFakeBus {
protected:
    FlashStreamTest() { bus.answering = {0x55, 0x0B}; }

    /** What an operation prints on this stream, and what it throws. */
    std::string Outcome(void (FuelGauge::*operation)(), const std::string& text) {
        stream.text = text;
        stream.waits = true;
        bus.Take();
        output.Take();
        try {
            ((*gauge).*operation)();
            return output.Take();
        } catch (const Error& error) {
            return output.Take() + "Error " + std::to_string(error.Value());
        } catch (const std::invalid_argument&) {
            return output.Take() + "no number";
        } catch (const std::out_of_range&) {
            return output.Take() + "no text";
        } catch (int number) {
            return output.Take() + std::to_string(number);
        }
    }
    std::string Played(const std::string& text) {
        return Outcome(&FuelGauge::ExecuteFlashStream, text);
    }
};

TEST_F(FlashStreamTest, PlaysWhatALineSays) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {"W: AA 3E 02 00\n", "address 55, 55 w 3e 02 00"},
        {"W: 16 00 0C\n", "address 0b, 0b w 00 0c"},
        {"W: aa 3e 0f fF\n", "address 55, 55 w 3e 0f ff"},
        {"C: AA 20 57 9C\n", "address 55, 55 w 20 r 2"},
        {"X: 1500\n", "sleep 1500"},
        {"X: 0\nX: -5\n", ""},
        {";W: AA 3E 02\n\n\r\n W: AA 3E 02\nw: AA 3E 02\nR: AA 00\n", ""},
        {"W: AA 3E 02 \nX: 1 \n", "address 55, 55 w 3e 02, sleep 1"},
        {"W: AA 3E 02\r\nC: AA 20 57 9C\r\nX: 7\r\n",
         "address 55, 55 w 3e 02, address 55, 55 w 20 r 2, sleep 7"},
        {"X: 3\nW: AA 00 14 05", "sleep 3, address 55, 55 w 00 14 05"}, // no line end
    };
    bus.answers[0x5520] = {0x57, 0x9C};
    for (const auto& [text, notes] : cases) {
        EXPECT_EQ(Played(text), "") << text;
        EXPECT_EQ(bus.Take(), notes) << text;
    }
}

TEST_F(FlashStreamTest, EndsAtALineThatItCannotRead) {
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {writeUnreadable + "no text", {"W", "W: AA", "W: AA 3E", "W: AA 3E 123456789"}},
        {writeUnreadable + "no number",
         {"W: ", "W: AA 3E ", "W: AA 3E\r", "W: GG 3E 02", "W: AA GG 02", "W: AA 3E 02 GG",
          "W: AA 3E 02  00", "W: AA 3E 02 \r"}},
        {compareUnreadable + "no text", {"C", "C: AA 20"}},
        {compareUnreadable + "no number", {"C: AA 20 ", "C: AA 20 5Z Z5"}},
        {waitUnreadable + "no text", {"X", "X: 3000000000"}},
        {waitUnreadable + "no number", {"X: ", "X: soon"}},
    };
    for (const auto& [outcome, lines] : cases) {
        for (const std::string& line : lines) {
            EXPECT_EQ(Played("X: 1\n" + line + "\nW: AA 3E 02\n"), outcome) << line;
            EXPECT_EQ(bus.Take(), "sleep 1") << line;
        }
    }
}

TEST_F(FlashStreamTest, EndsAtALineThatFails) {
    bus.answers[0x5520] = {0x57, 0x9C};
    bus.errors = {{"55 w 40 02", EIO}, {"55 w 08 r 1", ETIMEDOUT}};
    const struct {
        const char* line;
        int slaveError;
        std::string outcome;
    } cases[] = {
        {"W: AA 40 02", 0, writeFailed + "Error 5"},
        {"W: 18 40 02", 0, writeFailed + "Error 6"},       // nobody there
        {"W: -1 3E 02", EINVAL, writeFailed + "Error 22"}, // a number, but no address
        {"C: AA 20 57 9D", 0, compareFailed + "22"},
        {"C: AA 20 56 9C", 0, compareFailed + "22"},
        {"C: AA 08 57", 0, compareFailed + "Error 110"},
        {"C: AA 20 57", EBUSY, compareFailed + "Error 16"},
    };
    for (const auto& [line, slaveError, outcome] : cases) {
        bus.slaveError = slaveError;
        EXPECT_EQ(Played(std::string(line) + "\nX: 1\n"), outcome) << line;
        EXPECT_THAT(bus.Take(), testing::Not(testing::HasSubstr("sleep"))) << line;
    }
}

// A row of the gauge's flash has 96 bytes; with address and checksum around it, 97 to 100 pass in
// one transfer. The kernel takes messages of up to 8192 bytes.
TEST_F(FlashStreamTest, SendsALineAsOneTransferWhateverItsLength) {
    for (const std::size_t count : {1u, 96u, 97u, 100u, 4096u, 8191u}) {
        std::string bytes;
        std::vector<std::uint8_t>& answer = bus.answers[0x0B05];
        answer.clear();
        while (answer.size() < count) {
            answer.push_back(static_cast<std::uint8_t>(answer.size() * 7));
            bytes += test::FakeBus::Hex(answer.back());
        }
        const std::string text = "W: 16 04" + bytes + "\nC: 16 05" + bytes + "\n";
        EXPECT_EQ(Played(text), "") << count;
        EXPECT_EQ(bus.Take(), "address 0b, 0b w 04" + bytes + ", address 0b, 0b w 05 r " +
                                  std::to_string(count));
        answer.back() ^= 0x80;
        EXPECT_EQ(Played(text), compareFailed + "22") << count;
    }
}

const std::string firstKey = "address 55, 55 w 00 21 5c";
const std::string keys = firstKey + ", 55 w 00 47 1e, 55 w 00 b4 b4";
const std::string entry = keys + ", 55 w 00 b4 b4, sleep 1000, address 55, 55 w 00 00 0f";
const std::string played = ", address 0b, 0b w 04 11, sleep 20";
const std::string leaving = ", address 0b, 0b w 00 0f, 0b w 64 0f 00, sleep 4000, address 55";

TEST_F(FlashStreamTest, IsPlayedBetweenEnteringAndLeavingRomMode) {
    const struct {
        std::set<std::uint16_t> answering;
        std::map<std::string, int> errors;
        std::string begin;
    } cases[] = {
        {{0x55, 0x0B}, {}, entry + ", sleep 1000"},
        {{0x0B}, {}, firstKey}, // in ROM mode already: an interrupted update is taken up again
        {{0x55, 0x0B}, {{"55 w 00 b4 b4", ETIMEDOUT}}, keys},
        {{0x55, 0x0B}, {{"55 w 00 00 0f", EIO}}, entry},
    };
    for (const auto& [answering, errors, begin] : cases) {
        bus.answering = answering;
        bus.errors = errors;
        EXPECT_EQ(Outcome(&FuelGauge::Update, "W: 16 04 11\nX: 20\n"), "");
        EXPECT_EQ(bus.Take(), begin + played + leaving);
        EXPECT_TRUE(gauge->IsUpdated());
    }
    gauge->Update(); // nothing waits
    EXPECT_EQ(bus.Take(), "");
}

TEST_F(FlashStreamTest, IsKeptByAnUpdateThatFails) {
    bus.answering = {0x0B};
    const struct {
        const char* text;
        std::map<std::string, int> errors;
        std::string printed, thrown, last; // the last on the bus
    } cases[] = {
        // A gauge in ROM mode cannot play a stream that begins in normal mode.
        {"W: AA 00 14 05\nW: 16 04 11\n", {}, writeFailed, "Error 6", "55 w 00 14 05"},
        {"C: 16 04 11\n", {}, compareFailed, "22", "0b w 04 r 1"},
        {"W: 16 04 11\nX\n", {}, waitUnreadable, "no text", "0b w 04 11"},
        {"X: 5\n", {{"0b w 00 0f", EIO}}, "", "Error 5", "0b w 00 0f"},
        {"X: 5\n", {{"0b w 64 0f 00", ENXIO}}, "", "Error 6", "0b w 64 0f 00"},
    };
    for (const auto& [text, errors, printed, thrown, last] : cases) {
        bus.errors = errors;
        EXPECT_EQ(Outcome(&FuelGauge::Update, text), printed + updateFailed + thrown) << text;
        EXPECT_THAT(bus.Take(), testing::EndsWith(last)) << text;
        EXPECT_FALSE(gauge->IsUpdated());
    }
}

// Half a stream must not pass for a whole one and be deleted.
TEST_F(FlashStreamTest, IsNotPlayedWhenItCannotBeReadToItsEnd) {
    int reads = 0;
    sys->Read = [&](int, void* buffer, std::size_t) -> ssize_t {
        const auto part = stream.text.copy(static_cast<char*>(buffer), 12);
        return ++reads == 1 ? static_cast<ssize_t>(part) : test::FailWith(EIO);
    };
    EXPECT_EQ(Outcome(&FuelGauge::Update, "W: 16 04 11\nX: 20\n"), updateFailed + "Error 5");
    EXPECT_EQ(bus.Take(), entry + ", sleep 1000");
    EXPECT_FALSE(gauge->IsUpdated());
}

} // namespace
} // namespace vantorel
