// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "host/Commands.h"
#include "host/Fuzz.h"
#include "host/Latency.h"
#include "host/Protocol.h"
#include "tests/host/FakeBus.h"
#include "tests/support/ManualPage.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/ToolRun.h"
#include "vantorel/camera/Camera.h"

#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>

#include <sys/resource.h>

namespace vantorel::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/** Limits the size of the files that this process writes. */
class SmallFiles {
public:
    explicit SmallFiles(rlim_t size) {
        ::getrlimit(RLIMIT_FSIZE, &before);
        const rlimit small{size, before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &small);
    }
    ~SmallFiles() {
        ::setrlimit(RLIMIT_FSIZE, &before);
        ::signal(SIGXFSZ, handler);
    }
    SmallFiles(const SmallFiles&) = delete;
    SmallFiles& operator=(const SmallFiles&) = delete;

private:
    rlimit before{};
    void (*handler)(int) = ::signal(SIGXFSZ, SIG_IGN);
};

class ToolTest : public test::ToolRun {
protected:
    ToolTest() {
        device.endpoint.sys->Klogctl = [this](int action, char* buffer, int size) {
            const auto count = std::min(kernelLog.size(), static_cast<std::size_t>(size));
            if (action == 2) { // read
                std::copy_n(kernelLog.begin(), count, buffer);
                kernelLog.erase(0, count);
            }
            return static_cast<int>(action == 2 ? count : kernelLog.size());
        };
        device.BringUp();
    }

    ExitCode Run(const std::string& line) {
        return RunLine("vantorel-host " + line, [this](auto count, auto values, auto&... streams) {
            return RunTool(count, values, bus, streams...);
        });
    }

    std::string Output(const std::string& line) {
        EXPECT_EQ(Run(line), exitSuccess) << line << '\n' << err.str();
        return out.str();
    }

    /** Runs a command line; checks its exit code and a text in its result or error message. */
    void CheckRun(const std::string& line, ExitCode code, const std::string& text) {
        EXPECT_EQ(Run(line), code) << line;
        EXPECT_THAT(out.str() + err.str(), HasSubstr(text));
    }

    void FailAfter(std::size_t requests, Failure failure) {
        bus.onRequest = [this, last = bus.requests + requests, failure] {
            if (bus.requests > last) {
                throw TransportError(failure, "The cable is cut.");
            }
        };
    }

    std::string kernelLog;
    FakeBus bus;
    test::SubiDevice& device = bus.device;
};

TEST_F(ToolTest, PrintsTheDevicesReplies) {
    const float spot = -0.5;
    kirocamera_sim_set_header(131, &spot, sizeof spot);
    device.manager.OnConnectionStateChanged(ConnectionState::Battery,
                                            ConnectionState::Undetermined);
    device.sdk.Frame();
    const std::pair<const char*, const char*> rows[] = {
        {"list", "001:007 1209:0021 Maker Camera 0x5a\n"},
        {"--json list", "{'devices':[{'device':'001:007','vendor':4617,'product':33,"
                        "'manufacturer':'Maker','name':'Camera','portSerial':'0x5a'}]}\n"},
        {"identity", "chip:       0123456789AB\nchipNumber: 0123456789ab\n"
                     "serial:     KC-7\nroic:       0x1234\nversion:    4.2.1.44\n"
                     "build:      Jul 26 2022 10:11:12\n"},
        {"identity --json", "{'chip':'0123456789AB','chipNumber':'0123456789ab',"
                            "'serial':'KC-7','roic':4660,'version':'4.2.1.44',"
                            "'build':'Jul 26 2022 10:11:12'}\n"},
        {"temperature", "temperature: -0.50 degrees Celsius\n"},
        {"temperature --json", "{'temperature':-0.5}\n"},
        {"raw 60 2 0200", "stalled: no\nstatus:  success (0x00000000)\n"},
        {"session state", "session: neither (2)\n"},
        {"session start", "session: running (1)\n"},
        {"session stop --json", "{'session':{'code':0,'text':'stopped'}}\n"},
        {"raw 61 2", "stalled: no\nstatus:  success (0x00000000)\n"
                     "0000  00 00                                            ..\n"},
        {"raw 0x36 12 --json", "{'stalled':false,'status':{'code':0,'text':'success "
                               "(0x00000000)'},'data':'ab0089006700450023000100'}\n"},
        {"status --json", "{'status':{'code':0,'text':'success (0x00000000)'}}\n"},
    };
    for (const auto& [line, text] : rows) {
        std::string expected = text;
        std::ranges::replace(expected, '\'', '"');
        EXPECT_EQ(Output(line), expected) << line;
    }
    EXPECT_EQ(device.wishes.Take(), "start stop ");
    bus.replaced[{78, 66}] = test::Bytes(66, 'x'); // texts without a terminating zero
    EXPECT_THAT(Output("identity"), HasSubstr("\nserial:     xxxxxxxxxxxxxxxx\n"));
}

TEST_F(ToolTest, ReportsWhyTheDeviceRefused) {
    EXPECT_EQ(test::Selected(device.endpoint, 14, 1), test::refusedIn);
    EXPECT_EQ(
        Output("status"),
        "status: the kernel log could not be read, or holds less than requested (0x00030000)\n");
    test::Selected(device.endpoint, 14, 1); // must not be reported as the reason of a later refusal
    device.subi.OnCameraDisconnect(*std::make_unique<Camera>(kirocamera_sim_get_camera()));
    CheckRun("identity", exitRefused,
             "The device refused to report its identity: request unknown, or not supported now "
             "(0x00050000).");
    EXPECT_THAT(out.str(), IsEmpty());
    device.endpoint.sys->Klogctl = [](auto...) { return test::FailWith(EPERM); };
    CheckRun("klog --follow", exitRefused, "0x00030000");
    // Refused although the bus has acknowledged the data.
    CheckRun("raw 84 2 0300", exitRefused,
             "stalled: no\nstatus:  stopping with the value 3 is refused (0x00030300)");
    test::Selected(device.endpoint, 14, 1);
    CheckRun("raw 88 2 --json", exitRefused, R"("stalled":true,"status":{"code":0)");
    test::Selected(device.endpoint, 14, 1);
    CheckRun("raw 53 4", exitSuccess, "0000  00 00 03 00"); // the older request's, as requested
    bus.replaced[{53, 4}] = {0, 0, 5, 0};
    CheckRun("session start", exitRefused, "refused to start the capture session");
    // Replies that the device never sends.
    bus.replaced = {{{53, 4}, test::Bytes(3)}};
    CheckRun("status", exitRefused, "incomplete status word");
    bus.replaced = {{{61, 2}, test::Bytes(1)}, {{78, 4}, test::Bytes{65, 0, 0, 0}}};
    CheckRun("session state", exitRefused, "sent 1 bytes instead of 2");
    CheckRun("klog", exitRefused, "of 65 bytes; the limit is 64");
}

TEST_F(ToolTest, ReadsTheFactorySettingsInPieces) {
    test::Selected(device.endpoint, 14, 1); // leaves a status behind
    const test::TemporaryDirectory directory;
    const std::string file = directory / "factory";
    EXPECT_EQ(Output("factory read --out " + file + " --json"),
              "{\"size\":5120,\"file\":\"" + file + "\"}\n");
    const test::Bytes expected = test::Factory(0, 5120);
    EXPECT_EQ(directory.Read("factory"), std::string(expected.begin(), expected.end()));
    EXPECT_THAT(Output("factory read"), StartsWith("0000  05 0c 13 1a"));
    EXPECT_THAT(Output("--json factory read"), StartsWith(R"({"size":5120,"data":"050c131a)"));
    CheckRun("factory read --out /dev/null", exitSuccess, "/dev/null");
    CheckRun("factory read --out /nonexistent/file", exitOutput,
             "Cannot write /nonexistent/file: No such file or directory.");
    std::filesystem::create_symlink("older", directory / "link");
    for (const std::string name : {"new", "older", "link"}) {
        directory.Write("older", "of another camera");
        const SmallFiles limit(4096); // like a full disk
        CheckRun("factory read --out " + directory / name, exitOutput, name + ": File too large.");
        EXPECT_EQ(directory.Read("older"), "of another camera");
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory / ""), {}), 3)
            << "a partial file could be mistaken for all settings";
    }
    EXPECT_EQ(Run("factory read --out " + directory / "link"), exitSuccess);
    EXPECT_TRUE(std::filesystem::is_symlink(directory / "link"));
    EXPECT_EQ(directory.Read("older").size(), 5120U);
    out.setstate(std::ios::badbit);
    EXPECT_EQ(Run("identity"), exitOutput);
}

TEST_F(ToolTest, JoinsTheKernelLogsPieces) {
    const std::string first = "<6>[ 1.0] " + std::string(70, 'a');
    const std::string log = first + "\n<4>[ 2.0] \x1b[2J\xc2\x9b\xff\nlast";
    kernelLog = log;
    EXPECT_EQ(Output("klog"), first + "\n<4>[ 2.0] .[2J...\nlast\n");
    EXPECT_THAT(Output("klog"), IsEmpty());
    kernelLog = log;
    EXPECT_EQ(Output("klog --json"), "{\"line\":\"" + first + "\"}\n" +
                                         "{\"line\":\"<4>[ 2.0] \\u001b[2J\\u009b\\ufffd\"}\n"
                                         "{\"line\":\"last\"}\n");
    kernelLog = std::string(5000, 'a');
    EXPECT_EQ(Output("klog"), std::string(4096, 'a') + '\n' + std::string(904, 'a') + '\n');
    kernelLog = "one\nhal";      // what was removed from the device must not be lost
    FailAfter(7, Failure::Gone); // after the first empty piece
    EXPECT_EQ(Run("klog --follow"), exitBus);
    EXPECT_EQ(out.str(), "one\nhal\n");
    EXPECT_EQ(err.str(), "vantorel-host: The cable is cut.\n");
}

TEST_F(ToolTest, SelectsTheDevice) {
    CheckRun("--vendor 0x1234 list", exitNoDevice, "No camera of vendor 0x1234 is connected");
    CheckRun("--vendor 0x1234 identity", exitNoDevice, "No camera of vendor 0x1234 is connected");
    CheckRun("--vendor 1234 identity", exitNoDevice, "No camera of vendor 0x1234 is connected");
    EXPECT_THAT(Output("--vendor 1209 list"), StartsWith("001:007 1209:"));
    bus.devices.push_back(bus.devices.front());
    bus.devices.back().address = 8;
    CheckRun("status", exitNoDevice, "--device");
    CheckRun("status --device 2:8", exitNoDevice, "at that address");
    Output("--device 001:008 --timeout 70 status");
    EXPECT_EQ(bus.openedAddress, 8U);
    EXPECT_EQ(bus.timeout, 70U);

    bus.devices.pop_back();
    bus.openFailure = Failure::Access;
    CheckRun("status", exitAccess, "vantorel-host: It does not open.\n");
    bus.devices.front().problem = "No permission.";
    EXPECT_EQ(Output("list"), "001:007 1209:0021 (No permission.)\n");
}

TEST_F(ToolTest, RejectsWrongArguments) {
    for (const char* line : {"",
                             "nothing",
                             "raw",
                             "raw 256 2",
                             "raw 53 4097",
                             "raw 53 -1",
                             "raw 60 2 010",
                             "raw 60 2 01",
                             "raw 60 2 zz00",
                             "raw 60 2 0100 --out x",
                             "fuzz",
                             "fuzz --seed x",
                             "latency --count 0",
                             "latency --count 1000001",
                             "status --device 1",
                             "status --device 1:2x",
                             "session",
                             "--vendor 0x12345 list",
                             "--vendor 12g9 list",
                             "factory",
                             "status --timeout 0"}) {
        EXPECT_EQ(Run(line), exitUsage) << line;
        EXPECT_NE(err.str(), "") << line;
    }
    EXPECT_EQ(bus.requests, 0U);
    EXPECT_THAT(Output("--help"), AllOf(HasSubstr("klog"), HasSubstr("Exit status")));
}

TEST_F(ToolTest, NamesAnUnknownCommandAndSuggestsASimilarOne) {
    const std::pair<const char*, const char*> rows[] = {
        {"temperatur", "temperatur: no such command; did you mean temperature?\n"},
        {"--timeout 9 idntity", "idntity: no such command; did you mean identity?\n"},
        {"factory raed", "raed: no such command; did you mean read?\n"},
        {"session begin", "begin: no such command\n"}};
    for (const auto& [line, text] : rows) {
        EXPECT_EQ(Run(line), exitUsage) << line;
        EXPECT_EQ(err.str(), std::string("vantorel-host: ") + text);
    }
}

TEST_F(ToolTest, ReportsErrorsAsJsonOnRequest) {
    EXPECT_EQ(Run("--json --vendor 1234 list"), exitNoDevice);
    EXPECT_EQ(err.str(), R"({"error":"No camera of vendor 0x1234 is connected.","exit":3})"
                         "\n");
    EXPECT_EQ(Run("statsu --json"), exitUsage);
    EXPECT_EQ(err.str(), R"({"error":"statsu: no such command; did you mean status?","exit":2})"
                         "\n");
    EXPECT_EQ(Run("--json raw 256 2"), exitUsage);
    EXPECT_THAT(err.str(), AllOf(StartsWith(R"({"error":")"), HasSubstr("256")));
    FailAfter(0, Failure::Gone);
    EXPECT_EQ(Run("status --json"), exitBus);
    EXPECT_EQ(err.str(), R"({"error":"The cable is cut.","exit":5})"
                         "\n");
    bus.onRequest = [] { throw std::bad_alloc(); };
    EXPECT_EQ(Run("status --json"), exitOutput);
    EXPECT_THAT(err.str(), HasSubstr(R"("exit":6)"));
}

TEST_F(ToolTest, DocumentsEveryJsonField) {
    const float spot = 21;
    kirocamera_sim_set_header(131, &spot, sizeof spot);
    device.manager.OnConnectionStateChanged(ConnectionState::Battery,
                                            ConnectionState::Undetermined);
    device.sdk.Frame();
    const test::TemporaryDirectory directory;
    const std::string toFile = " --out " + directory / "file";
    const std::pair<const char*, std::string> rows[] = {{"list", "list"},
                                                        {"identity", "identity"},
                                                        {"status", "status"},
                                                        {"temperature", "temperature"},
                                                        {"factory read", "factory read"},
                                                        {"factory read", "factory read" + toFile},
                                                        {"klog", "klog"},
                                                        {"session", "session state"},
                                                        {"raw", "raw 61 2"},
                                                        {"raw", "raw 61 2" + toFile},
                                                        {"fuzz", "fuzz --seed 3 --count 10"},
                                                        {"latency", "latency --count 10"},
                                                        {"an error", "statsu"}};
    bus.devices.push_back(bus.devices.front());
    bus.devices.back().problem = "No permission."; // adds a field
    std::map<std::string, test::Names> fields;
    for (const auto& [item, line] : rows) {
        kernelLog = "one\n";
        Run("--json " + line);
        test::AddFields(fields[item],
                        nlohmann::ordered_json::parse(out.str().empty() ? err.str() : out.str()));
        bus.devices.resize(1);
    }
    const char* const page =
#include "ManualPage.inc"
        ;
    EXPECT_EQ(fields, test::DocumentedFields(page));
}

TEST_F(ToolTest, SendsTheSameRandomRequestsForTheSameSeed) {
    FuzzSource source(5);
    std::uint32_t sum = 0;
    for (int draws = 0; draws < 20000; ++draws) {
        const auto [setup, in, length, data] = source.Next();
        sum = 31 * sum + setup.request + setup.value + setup.index + length;
    }
    EXPECT_EQ(sum, 3599895662U) << "the seed produces different requests on this machine";
}

TEST_F(ToolTest, FuzzChecksTheIdentityAndRestoresTheSession) {
    Output("session start");
    device.wishes.Take();
    EXPECT_THAT(Output("fuzz --seed 3 --count 300 --json"),
                AllOf(StartsWith(R"({"seed":3,"requests":300,"answered":)"),
                      HasSubstr(R"("silent":0,"identity":true)")));
    EXPECT_EQ(device.wishes.Take(), "");
    EXPECT_THAT(Output("fuzz --reversed --seed 3 --count 300 --json"),
                HasSubstr(R"("silent":0,"identity":true)"));
    EXPECT_EQ(device.wishes.Take(), "");
    Output("fuzz --seed 3 --count 300 --sessions");
    EXPECT_NE(device.wishes.Take(), "");
    EXPECT_EQ(Output("session state"), "session: running (1)\n");
    bus.onRequest = [&, at = bus.requests + 100] {
        if (bus.requests == at) {
            bus.replaced[{78, 66}] = test::Bytes(66);
        }
    };
    CheckRun("fuzz --seed 3 --count 300", exitRefused, "identity: CHANGED");
    for (const Failure failure : {Failure::Gone, Failure::Timeout}) {
        FailAfter(200, failure);
        CheckRun("fuzz --seed 3", exitBus, "It was lost at random request 196 (");
    }
}

TEST_F(ToolTest, MeasuresRoundTrips) {
    const LatencySummary summary = Summarize({4, 1, 10, 2});
    EXPECT_EQ(summary.shortest + summary.median + summary.worst, 1 + 3 + 10);
    EXPECT_THAT(Output("latency --count 10 --json"), StartsWith(R"({"roundTrips":10,"shortest":)"));
    EXPECT_EQ(bus.requests, 11U);
}

} // namespace
} // namespace vantorel::host
