#include "host/Commands.h"
#include "host/Fuzz.h"
#include "host/Latency.h"
#include "host/Protocol.h"
#include "tests/host/FakeCamera.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

namespace vantorel::host::test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class ToolTest : public ::testing::Test {
protected:
    /** Runs a command line that holds no quoted words. */
    ExitCode Run(const std::string& line) {
        std::istringstream words("vantorel-host " + line);
        const std::vector<std::string> list{std::istream_iterator<std::string>(words), {}};
        std::vector<const char*> values;
        for (const std::string& word : list) {
            values.push_back(word.c_str());
        }
        out.str("");
        err.str("");
        return RunTool(static_cast<int>(values.size()), values.data(), bus, out, err);
    }

    std::string Output(const std::string& line) {
        EXPECT_EQ(Run(line), exitSuccess) << line << '\n' << err.str();
        return out.str();
    }

    FakeBus bus;
    FakeState& state = bus.state;
    std::ostringstream out;
    std::ostringstream err;
};

TEST_F(ToolTest, PrintsWhatTheDeviceTells) {
    struct Row {
        const char* line;
        const char* text;
    };
    state.temperature = 0xfff0; // below zero
    state.session = 2;
    state.status = 0x30000;
    const Row rows[] = {
        {"status", "status: the kernel log could not be read, or holds less than was asked for "
                   "(0x00030000)\n"},
        {"status --json", "{'status':{'code':0,'text':'success (0x00000000)'}}\n"},
        {"list", "001:007 1209:0021 Maker Camera 0x5a\n"},
        {"--json list", "{'devices':[{'device':'001:007','vendor':4617,'product':33,"
                        "'manufacturer':'Maker','name':'Camera','portSerial':'0x5a'}]}\n"},
        {"identity", "chip:       0123456789ABCDEF\nchipNumber: 0123456789ab\n"
                     "serial:     SN42\nroic:       0x1234\nversion:    4.2.1.44\n"
                     "build:      Jul 26 2022 10:11:12\n"},
        {"identity --json", "{'chip':'0123456789ABCDEF','chipNumber':'0123456789ab',"
                            "'serial':'SN42','roic':4660,'version':'4.2.1.44',"
                            "'build':'Jul 26 2022 10:11:12'}\n"},
        {"temperature", "temperature: -0.50 degrees Celsius\n"},
        {"temperature --json", "{'temperature':-0.5}\n"},
        {"session state", "session: neither (2)\n"},
        {"session start", "session: running (1)\n"},
        {"session stop --json", "{'session':{'code':0,'text':'stopped'}}\n"},
        {"raw 61 2", "stalled: no\nstatus:  success (0x00000000)\n"
                     "0000  00 00                                            ..\n"},
        {"raw 0x36 12 --json", "{'stalled':false,'status':{'code':0,'text':'success "
                               "(0x00000000)'},'data':'ab0089006700450023000100'}\n"},
    };
    for (const Row& row : rows) {
        std::string expected = row.text;
        std::ranges::replace(expected, '\'', '"');
        EXPECT_EQ(Output(row.line), expected) << row.line;
    }
    EXPECT_EQ(state.session, 0);
}

TEST_F(ToolTest, TellsWhyTheDeviceRefused) {
    state.hasIdentity = false;
    state.status = 0x30000; // left over: must not be taken for the reason
    EXPECT_EQ(Run("identity"), exitRefused);
    EXPECT_THAT(err.str(), AllOf(HasSubstr("refused to report its identity"),
                                 HasSubstr("not supported now (0x00050000)")));
    EXPECT_THAT(out.str(), IsEmpty());
    state.refusesSession = true;
    EXPECT_EQ(Run("session start"), exitRefused);
    EXPECT_THAT(err.str(), HasSubstr("refused to start the capture session"));
    state.kernelLogFails = true;
    EXPECT_EQ(Run("klog --follow"), exitRefused);
    EXPECT_THAT(err.str(), HasSubstr("0x00030000"));

    // Refused although the bus has acknowledged the data.
    EXPECT_EQ(Run("raw 84 2 0300"), exitRefused);
    EXPECT_THAT(out.str(), AllOf(HasSubstr("stalled: no"), HasSubstr("(0x00030300)")));
    EXPECT_EQ(Run("raw 88 2 --json"), exitRefused);
    EXPECT_THAT(out.str(), HasSubstr(R"("stalled":true,"status":{"code":0)"));
}

TEST_F(ToolTest, ReadsTheFactorySettingsInPieces) {
    std::vector<std::uint8_t> expected(5120);
    for (std::size_t i = 0; i < expected.size(); ++i) {
        expected[i] = FactoryByte(i);
    }
    const std::string file = ::testing::TempDir() + "vantorel-host-factory";
    EXPECT_EQ(Output("factory read --out " + file + " --json"),
              "{\"size\":5120,\"file\":\"" + file + "\"}\n");
    std::ifstream stream(file, std::ios::binary);
    const std::vector<std::uint8_t> read{std::istreambuf_iterator<char>(stream), {}};
    EXPECT_EQ(read, expected);
    std::remove(file.c_str());
    for (const Seen& seen : state.seen) {
        EXPECT_LE(seen.length, largestTransfer);
    }
    EXPECT_THAT(Output("factory read"), StartsWith("0000  00 07 0e 15"));
    EXPECT_THAT(Output("--json factory read"), StartsWith(R"({"size":5120,"data":"00070e15)"));

    EXPECT_EQ(Run("factory read --out /nonexistent/file"), exitOutput);
    EXPECT_THAT(err.str(), HasSubstr("/nonexistent/file"));
}

TEST_F(ToolTest, JoinsTheKernelLogsPieces) {
    const std::string first = "<6>[ 1.0] " + std::string(70, 'a');
    state.kernelLog = first + "\n<4>[ 2.0] \x1b[2J\xff\nlast";
    const std::string log = state.kernelLog;
    EXPECT_EQ(Output("klog"), first + "\n<4>[ 2.0] .[2J\xff\nlast\n");
    EXPECT_THAT(Output("klog"), IsEmpty());
    state.kernelLog = log;
    EXPECT_EQ(Output("klog --json"), "{\"line\":\"" + first + "\"}\n" +
                                         "{\"line\":\"<4>[ 2.0] \\u001b[2J\xef\xbf\xbd\"}\n"
                                         "{\"line\":\"last\"}\n");
}

TEST_F(ToolTest, FollowsTheKernelLogUntilTheDeviceIsGone) {
    state.kernelLog = "one\ntwo\n";
    state.failure = Failure::Gone;
    state.failureAfter = 7; // beyond the first empty piece
    EXPECT_EQ(Run("klog --follow"), exitBus);
    EXPECT_EQ(out.str(), "one\ntwo\n");
    EXPECT_EQ(err.str(), "vantorel-host: The cable is cut.\n");
}

TEST_F(ToolTest, ChoosesTheDevice) {
    EXPECT_EQ(Run("--vendor 0x1234 list"), exitNoDevice);
    EXPECT_EQ(Run("--vendor 0x1234 identity"), exitNoDevice);
    EXPECT_THAT(err.str(), HasSubstr("No camera of vendor 0x1234 is connected"));
    bus.devices.push_back(bus.devices.front());
    bus.devices.back().address = 8;
    EXPECT_EQ(Run("status"), exitNoDevice);
    EXPECT_THAT(err.str(), HasSubstr("--device"));
    EXPECT_EQ(Run("status --device 2:8"), exitNoDevice);
    Output("--device 001:008 --timeout 70 status");
    EXPECT_EQ(bus.openedAddress, 8U);
    EXPECT_EQ(bus.timeout, 70U);

    bus.devices.pop_back();
    bus.openFailure = Failure::Access;
    EXPECT_EQ(Run("status"), exitAccess);
    EXPECT_EQ(err.str(), "vantorel-host: It does not open.\n");
    bus.devices.front().problem = "No permission.";
    EXPECT_EQ(Output("list"), "001:007 1209:0021 (No permission.)\n");
}

TEST_F(ToolTest, RefusesWrongArguments) {
    for (const char* line :
         {"", "nothing", "raw", "raw 256 2", "raw 53 4097", "raw 53 -1", "raw 60 2 010",
          "raw 60 2 01", "raw 60 2 zz00", "raw 60 2 0100 --out x", "fuzz", "fuzz --seed x",
          "latency --count 0", "status --device 1", "status --device 1:2x", "session",
          "--vendor 0x12345 list", "factory", "status --timeout 0"}) {
        EXPECT_EQ(Run(line), exitUsage) << line;
        EXPECT_THAT(err.str(), ::testing::Not(IsEmpty())) << line;
    }
    EXPECT_THAT(state.seen, IsEmpty());
    EXPECT_THAT(Output("--help"), AllOf(HasSubstr("klog"), HasSubstr("Exit status")));
}

TEST_F(ToolTest, TellsOfOutputThatCannotBeWritten) {
    out.setstate(std::ios::badbit);
    EXPECT_EQ(Run("identity"), exitOutput);
}

TEST_F(ToolTest, DrawsTheSameRandomRequestsFromTheSameSeed) {
    const auto draw = [](std::uint64_t seed) {
        FuzzSource source(seed);
        std::vector<FuzzRequest> drawn(20000);
        std::ranges::generate(drawn, [&] { return source.Next(); });
        return drawn;
    };
    const auto drawn = draw(5);
    EXPECT_TRUE(drawn == draw(5));
    EXPECT_FALSE(drawn == draw(6));
    std::set<int> asked;
    std::set<int> sent;
    for (const FuzzRequest& request : drawn) {
        (request.in ? asked : sent).insert(request.setup.request);
        ASSERT_LE(request.length, largestTransfer);
    }
    EXPECT_EQ(asked.size(), 256U);
    EXPECT_EQ(sent.size(), 256U);
    // On every machine: who notes a seed here will want to repeat it elsewhere.
    const auto& last = drawn.back().setup;
    EXPECT_EQ((std::vector<int>{last.request, last.value, last.index, drawn.back().length}),
              (std::vector<int>{78, 56907, 43385, 64}));
}

TEST_F(ToolTest, FuzzChecksTheIdentityAndRestoresTheSession) {
    state.session = 1;
    const std::string summary = Output("fuzz --seed 3 --count 3000 --json");
    EXPECT_THAT(summary, AllOf(StartsWith(R"({"seed":3,"requests":3000,"answered":)"),
                               HasSubstr(R"("silent":0,"identity":true)")));
    EXPECT_GE(state.seen.size(), 3000U);
    EXPECT_EQ(state.sessionChanges, 0);
    Output("fuzz --seed 3 --count 3000 --sessions");
    EXPECT_GT(state.sessionChanges, 10);
    EXPECT_EQ(state.session, 1);

    state.serialChangesAt = state.seen.size() + 500;
    EXPECT_EQ(Run("fuzz --seed 3"), exitRefused);
    EXPECT_THAT(out.str(), HasSubstr("identity: CHANGED"));

    for (const Failure failure : {Failure::Gone, Failure::Timeout}) {
        state.failure = failure;
        state.failureAfter = state.seen.size() + 500;
        EXPECT_EQ(Run("fuzz --seed 3"), exitBus);
        EXPECT_THAT(err.str(), HasSubstr("It was lost at random request 4"));
        EXPECT_EQ(state.seen.size(), state.failureAfter + (failure == Failure::Gone ? 1 : 3));
    }
}

TEST_F(ToolTest, MeasuresRoundTrips) {
    const LatencySummary summary = Summarize({4, 1, 10, 2});
    EXPECT_EQ(summary.shortest, 1);
    EXPECT_EQ(summary.median, 3);
    EXPECT_EQ(summary.worst, 10);
    EXPECT_EQ(Summarize({5, 1, 9}).median, 5);
    EXPECT_THAT(Output("latency --count 10 --json"), StartsWith(R"({"roundTrips":10,"shortest":)"));
    EXPECT_EQ(state.seen.size(), 11U);
}

} // namespace
} // namespace vantorel::host::test
