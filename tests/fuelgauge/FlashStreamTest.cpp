#include "tests/fuelgauge/GaugeOnFakeBus.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/PrivateRoot.h"
#include "vantorel/service/Error.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <stdexcept>

namespace vantorel {
namespace {

using testing::ElementsAre;
using Notes = std::vector<std::string>;

constexpr const char* streamFile = "/tmp/var/update/bqfs";
const std::string writeUnreadable = "FUEL FAUGE UPDATE: FAILED TO PARSE WRITE CMD!\n";
const std::string writeFailed = "FUEL FAUGE UPDATE: FAILED WRITE CMD!\n";
const std::string waitUnreadable = "FUEL FAUGE UPDATE: FAILED TO PARSE WAIT CMD!\n";
const std::string compareUnreadable = "FUEL GAUGE UPDATE: FAILED TO PARSE COMPARE CMD!\n";
const std::string compareFailed = "FUEL GAUGE UPDATE: FAILED COMPARE CMD!\n";
const std::string updateFailed = "FUEL GAUGE: FLASH UPDATE FAILED\n";

class FlashStreamTest : public testing::Test {
protected:
    void SetUp() override {
        VANTOREL_NEED_PRIVATE_MOUNTS();
        test::CoverWithTmpfs("/tmp");
        output.emplace();
        device.bus.answering = {0x55, 0x0B};
    }

    /** What an operation throws on this stream: its type and number, or nothing. */
    std::string Thrown(void (FuelGauge::*operation)(), const std::string& stream) {
        test::WriteFile(streamFile, stream);
        output->Take();
        device.bus.Take();
        try {
            ((*device.gauge).*operation)();
            return "";
        } catch (const Error& error) {
            return "Error " + std::to_string(error.Value());
        } catch (const std::invalid_argument&) {
            return "invalid_argument";
        } catch (const std::out_of_range&) {
            return "out_of_range";
        } catch (int number) {
            return "int " + std::to_string(number);
        }
    }

    test::GaugeOnFakeBus device;
    std::optional<test::CapturedOutput> output;
};

TEST_F(FlashStreamTest, PlaysWhatALineSays) {
    const struct {
        const char* stream;
        Notes notes;
    } cases[] = {
        {"", {}},
        {"W: AA 3E 02 00\n", {"address 55", "55 w 3e 02 00"}},
        {"W: 16 00 0C\n", {"address 0b", "0b w 00 0c"}},
        {"W: aa 3e 0f fF\n", {"address 55", "55 w 3e 0f ff"}},
        {"C: AA 20 57 9C\n", {"address 55", "55 w 20 r 2"}},
        {"X: 1500\n", {"sleep 1500"}},
        {"X: 0\nX: -5\n", {}},
        {";W: AA 3E 02\n\n\r\n W: AA 3E 02\nw: AA 3E 02\nR: AA 00\n", {}},
        {"W: AA 3E 02 \nX: 1 \n", {"address 55", "55 w 3e 02", "sleep 1"}},
        {"W: AA 3E 02\r\nC: AA 20 57 9C\r\nX: 7\r\n",
         {"address 55", "55 w 3e 02", "address 55", "55 w 20 r 2", "sleep 7"}},
        {"X: 3\nW: AA 00 14 05", {"sleep 3", "address 55", "55 w 00 14 05"}}, // no line end
    };
    device.bus.Answer(0x55, 0x20, {0x57, 0x9C});
    for (const auto& [stream, notes] : cases) {
        EXPECT_EQ(Thrown(&FuelGauge::ExecuteFlashStream, stream), "") << stream;
        EXPECT_EQ(device.bus.Take(), notes) << stream;
        EXPECT_EQ(output->Take(), "") << stream;
    }
}

TEST_F(FlashStreamTest, EndsAtALineThatItCannotRead) {
    const struct {
        const char* line;
        std::string thrown, printed;
    } cases[] = {
        {"W", "out_of_range", writeUnreadable},
        {"W: ", "invalid_argument", writeUnreadable},
        {"W: AA", "out_of_range", writeUnreadable},
        {"W: AA 3E", "out_of_range", writeUnreadable},
        {"W: AA 3E ", "invalid_argument", writeUnreadable}, // no data
        {"W: AA 3E\r", "invalid_argument", writeUnreadable},
        {"W: GG 3E 02", "invalid_argument", writeUnreadable},
        {"W: AA GG 02", "invalid_argument", writeUnreadable},
        {"W: AA 3E 02 GG", "invalid_argument", writeUnreadable},
        {"W: AA 3E 02  00", "invalid_argument", writeUnreadable}, // two blanks
        {"W: AA 3E 02 \r", "invalid_argument", writeUnreadable},
        {"W: AA 3E 123456789", "out_of_range", writeUnreadable},
        {"C", "out_of_range", compareUnreadable},
        {"C: AA 20", "out_of_range", compareUnreadable},
        {"C: AA 20 ", "invalid_argument", compareUnreadable},
        {"C: AA 20 5Z Z5", "invalid_argument", compareUnreadable},
        {"X", "out_of_range", waitUnreadable},
        {"X: ", "invalid_argument", waitUnreadable},
        {"X: soon", "invalid_argument", waitUnreadable},
        {"X: 3000000000", "out_of_range", waitUnreadable},
    };
    for (const auto& [line, thrown, printed] : cases) {
        const std::string stream = "X: 1\n" + std::string(line) + "\nW: AA 3E 02\n";
        EXPECT_EQ(Thrown(&FuelGauge::ExecuteFlashStream, stream), thrown) << line;
        EXPECT_EQ(output->Take(), printed) << line;
        EXPECT_THAT(device.bus.Take(), ElementsAre("sleep 1")) << line;
    }
}

TEST_F(FlashStreamTest, EndsAtALineThatFails) {
    device.bus.Answer(0x55, 0x20, {0x57, 0x9C});
    device.bus.errors = {{"55 w 40 02", EIO}, {"55 w 08 r 1", ETIMEDOUT}};
    const struct {
        const char* line;
        int slaveError;
        std::string thrown, printed;
        std::size_t notes;
    } cases[] = {
        {"W: AA 40 02", 0, "Error 5", writeFailed, 2},
        {"W: 18 40 02", 0, "Error 6", writeFailed, 2},       // nobody there
        {"W: -1 3E 02", EINVAL, "Error 22", writeFailed, 1}, // a number, but no address
        {"W: AA 3E 02", EBUSY, "Error 16", writeFailed, 1},
        {"C: AA 20 57 9D", 0, "int 22", compareFailed, 2},
        {"C: AA 20 56 9C", 0, "int 22", compareFailed, 2},
        {"C: AA 08 57", 0, "Error 110", compareFailed, 2},
        {"C: AA 20 57", EBUSY, "Error 16", compareFailed, 1},
    };
    for (const auto& [line, slaveError, thrown, printed, notes] : cases) {
        device.bus.slaveError = slaveError;
        const std::string stream = std::string(line) + "\nX: 1\n";
        EXPECT_EQ(Thrown(&FuelGauge::ExecuteFlashStream, stream), thrown) << line;
        EXPECT_EQ(output->Take(), printed) << line;
        EXPECT_EQ(device.bus.Take().size(), notes) << line; // the wait would be one more
    }
}

// A row of the gauge's flash has 96 bytes; with address and checksum around it, 97 to 100 pass in
// one transfer. The kernel takes messages of up to 8192 bytes.
TEST_F(FlashStreamTest, SendsALineAsOneTransferWhateverItsLength) {
    for (const std::size_t count : {1u, 96u, 97u, 100u, 4096u, 8191u}) {
        std::string bytes;
        std::vector<std::uint8_t> answer(count);
        for (std::size_t i = 0; i < count; ++i) {
            char text[8];
            answer[i] = static_cast<std::uint8_t>(i * 7);
            std::snprintf(text, sizeof text, " %02x", unsigned{answer[i]});
            bytes += text;
        }
        device.bus.Answer(0x0B, 0x05, answer);
        const std::string stream = "W: 16 04" + bytes + "\nC: 16 05" + bytes + "\n";
        EXPECT_EQ(Thrown(&FuelGauge::ExecuteFlashStream, stream), "") << count;
        EXPECT_THAT(device.bus.Take(), ElementsAre("address 0b", "0b w 04" + bytes, "address 0b",
                                                   "0b w 05 r " + std::to_string(count)));
        answer.back() ^= 0x80;
        device.bus.Answer(0x0B, 0x05, answer);
        EXPECT_EQ(Thrown(&FuelGauge::ExecuteFlashStream, stream), "int 22") << count;
    }
}

const Notes unseal{"address 55",    "55 w 00 21 5c", "55 w 00 47 1e",
                   "55 w 00 b4 b4", "55 w 00 b4 b4", "sleep 1000"};
const Notes enter{"address 55", "55 w 00 00 0f", "sleep 1000"};
const Notes played{"address 0b", "0b w 04 11", "sleep 20"};
const Notes leave{"address 0b", "0b w 00 0f", "0b w 64 0f 00", "sleep 4000", "address 55"};

Notes Joined(std::initializer_list<Notes> parts) {
    Notes all;
    for (const Notes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

TEST_F(FlashStreamTest, IsPlayedBetweenEnteringAndLeavingRomMode) {
    const std::string stream = "W: 16 04 11\nX: 20\n";
    const struct {
        std::set<std::uint16_t> answering;
        std::map<std::string, int> errors;
        Notes notes;
    } cases[] = {
        {{0x55, 0x0B}, {}, Joined({unseal, enter, played, leave})},
        // In ROM mode already: an interrupted update is taken up again.
        {{0x0B}, {}, Joined({{"address 55", "55 w 00 21 5c"}, played, leave})},
        {{0x55, 0x0B},
         {{"55 w 00 b4 b4", ETIMEDOUT}},
         Joined({{unseal.begin(), unseal.begin() + 4}, played, leave})},
        {{0x55, 0x0B},
         {{"55 w 00 00 0f", EIO}},
         Joined({unseal, {enter.begin(), enter.begin() + 2}, played, leave})},
    };
    for (const auto& [answering, errors, notes] : cases) {
        device.bus.answering = answering;
        device.bus.errors = errors;
        EXPECT_EQ(Thrown(&FuelGauge::Update, stream), "");
        EXPECT_EQ(device.bus.Take(), notes);
        EXPECT_EQ(output->Take(), "");
        EXPECT_FALSE(std::filesystem::exists(streamFile));
        EXPECT_TRUE(device.gauge->IsUpdated());
    }
    device.gauge->Update(); // nothing waits
    EXPECT_THAT(device.bus.Take(), ElementsAre());
}

TEST_F(FlashStreamTest, IsKeptByAnUpdateThatFails) {
    device.bus.answering = {0x0B};
    const struct {
        const char* stream;
        std::map<std::string, int> errors;
        std::string thrown, printed;
        std::string last; // on the bus
    } cases[] = {
        // A gauge in ROM mode cannot play a stream that begins in normal mode.
        {"W: AA 00 14 05\nW: 16 04 11\n", {}, "Error 6", writeFailed, "55 w 00 14 05"},
        {"C: 16 04 11\n", {}, "int 22", compareFailed, "0b w 04 r 1"},
        {"W: 16 04 11\nX\n", {}, "out_of_range", waitUnreadable, "0b w 04 11"},
        {"X: 5\n", {{"0b w 00 0f", EIO}}, "Error 5", "", "0b w 00 0f"},
        {"X: 5\n", {{"0b w 64 0f 00", ENXIO}}, "Error 6", "", "0b w 64 0f 00"},
    };
    for (const auto& [stream, errors, thrown, printed, last] : cases) {
        device.bus.errors = errors;
        EXPECT_EQ(Thrown(&FuelGauge::Update, stream), thrown) << stream;
        EXPECT_EQ(output->Take(), printed + updateFailed) << stream;
        EXPECT_EQ(device.bus.Take().back(), last) << stream;
        EXPECT_EQ(test::ReadFile(streamFile), stream);
        EXPECT_FALSE(device.gauge->IsUpdated());
    }
}

// Half a stream, or none, must not pass for a whole one and be deleted.
TEST_F(FlashStreamTest, IsNotPlayedWhenItCannotBeRead) {
    const std::string stream = "W: 16 04 11\nX: 20\n";
    int reads = 0;
    device.sys->Read = [&](int fd, void* buffer, std::size_t) {
        return ++reads == 1 ? ::read(fd, buffer, 12) : test::FailWith(EIO);
    };
    EXPECT_EQ(Thrown(&FuelGauge::Update, stream), "Error 5");
    EXPECT_EQ(output->Take(), updateFailed);
    EXPECT_EQ(device.bus.Take(), Joined({unseal, enter}));

    device.sys->Open = [&](const char*, int, unsigned) { return test::FailWith(EMFILE); };
    EXPECT_EQ(Thrown(&FuelGauge::Update, stream), "Error 24");
    EXPECT_EQ(test::ReadFile(streamFile), stream);

    device.sys->Open = nullptr;
    reads = 0;
    device.sys->Read = [&](int fd, void* buffer, std::size_t size) {
        return ++reads % 2 == 1 ? test::FailWith(EINTR)
                                : ::read(fd, buffer, std::min<std::size_t>(size, 5));
    };
    device.bus.Take();
    EXPECT_EQ(Thrown(&FuelGauge::Update, stream), "");
    EXPECT_EQ(device.bus.Take(), Joined({unseal, enter, played, leave}));
}

} // namespace
} // namespace vantorel
