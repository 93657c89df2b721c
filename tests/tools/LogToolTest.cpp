// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "tests/support/CapturedOutput.h"
#include "tests/support/ManualPage.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/ToolRun.h"
#include "tests/support/Unused.h"
#include "tools/vantorel-log/Tool.h"
#include "vantorel/logger/Logger.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <random>

namespace vantorel::logtool::test {
namespace {

using namespace std::chrono_literals;
using namespace ::testing;
using vantorel::test::TemporaryDirectory;

class LogToolTest : public vantorel::test::ToolRun {
protected:
    /** Runs a command line in which @ is the log. */
    ExitCode Run(std::string line) {
        line.replace(line.find('@'), 1, log);
        return RunLine("vantorel-log " + line, RunTool);
    }

    /** Writes sessions with the device's own logger: these numbers of lines, 60 s apart. */
    std::string Write(std::initializer_list<int> sessions) {
        const vantorel::test::CapturedOutput printed;
        for (const int lines : sessions) {
            Logger logger(directory / "");
            for (int line = 0; line < lines; ++line) {
                LoggerEntry entry = logger.CreateEntry();
                logger.AddEntry(entry, line * 60s);
                auto& gauge = vantorel::test::Unused<FuelGauge>();
                logger.OnFuelGaugeVoltageQuery(gauge, 3.9F);
                logger.OnFuelGaugeLevelQuery(gauge, static_cast<std::uint8_t>(90 - line));
                logger.OnFuelGaugeTemperatureQuery(gauge, static_cast<float>(-5 - line));
            }
        }
        return directory.Read("debug.csv");
    }

    void Put(const std::string& content) { directory.Write("debug.csv", content); }

    TemporaryDirectory directory;
    const std::string log = directory / "debug.csv";
};

TEST_F(LogToolTest, SummarisesTheLinesOfTheLogger) {
    const std::string content = Write({21, 3});
    EXPECT_EQ(Run("summary @"), exitSuccess);
    EXPECT_THAT(out.str(), AllOf(HasSubstr("samples:  24 in 2 sessions, 0d 00:22:00\n"),
                                 // The first line precedes the gauge's first reading.
                                 HasSubstr("90 % ->  71 %   60.0 %\n"),
                                 HasSubstr("90 % ->  89 %        -\n")));
    EXPECT_EQ(Run("check @"), exitSuccess);
    EXPECT_THAT(out.str(), EndsWith("debug.csv: 25 lines, 24 samples, 0 problems\n"));

    // Lines 5 to 7 are lost, so the step from line 4 to the next one, now line 5, is 240 s. A
    // step of 61 s is rounded and not a gap.
    const std::size_t from = content.find("1,180,");
    Put(std::string(content)
            .replace(content.find("1,600,"), 6, "1,601,")
            .erase(from, content.find("1,360,") - from));
    EXPECT_EQ(Run("summary @ --json"), exitSuccess);
    EXPECT_THAT(out.str(),
                AllOf(StartsWith(R"({"samples":21,"chips":[],)"),
                      HasSubstr(R"("lines":18,"durationSeconds":1200.0,"intervalSeconds":60,)"
                                R"("gaps":{"count":1,"missingSeconds":180,"longestSeconds":240,)"
                                R"("line":5},"battery":{"first":90.0,"last":71.0,)"
                                R"("drainPerHour":60.0}})"),
                      HasSubstr("(degC)\":{\"least\":-24.0,"), HasSubstr(R"("most":-5.0})"),
                      HasSubstr(R"(":{"least":71,"mean":)"),
                      Not(HasSubstr("FPA Temp")))) // no frame ever arrived
        << out.str();
}

TEST_F(LogToolTest, ReportsEachDamagedLineWithItsNumberAndUsesTheRest) {
    const std::string good = Write({4, 2});
    const std::string last = good.substr(good.rfind('\n', good.size() - 2) + 1);
    const std::string line3 = "1,60,0,,0,0,0.0,0,0.0,0.0,0.0,0.0,-5.0,3.9,0,90\n";
    const std::string heading = good.substr(0, good.find('\n') + 1);
    ASSERT_THAT(good, HasSubstr(line3));
    const auto changed = [&](const std::string& line) {
        return std::string(good).replace(good.find(line3), line3.size(), line);
    };
    const std::tuple<std::string, const char*, int> rows[] = {
        {good.substr(0, good.size() - 1), ":7: the last line is torn", 5},
        {good.substr(0, good.size() - last.size() + 1), ":7: the last line is torn", 5},
        {changed(line3.substr(0, 20) + line3), ":3: torn by a power cut, with the first", 5},
        {changed(line3.substr(0, line3.size() - 1) + line3), ":3: torn by a power cut, with", 5},
        {changed(std::string(600000, '\0') + '\n'), ":3: holds zero bytes", 5},
        {changed(std::string(600000, ',') + '\n'), ":3: longer than any line of the log", 5},
        {changed("\n"), ":3: has 1 columns instead of 16", 5},
        {changed("1,60,0,\xff\x1b[31m,0,0,0.0,0,1e5,0.0,0.0,0.0,-5.0,3.9,0,90\n"),
         ":3: column 9 (FPA Temp (degC)): '1e5' is not a valid value", 5},
        {changed("1,60,0,,0,0,0.0,0,1.25,0.0,0.0,0.0,-5.0,3.9,0,90\n"), "column 9 (FPA T", 5},
        {changed("-1,60,0,,0,0,0.0,0,0.0,0.0,0.0,0.0,-5.0,3.9,0,90\n"), "column 1 (Session", 5},
        {changed("1,60,0,,0,0,0.0,0,0.0,0.0,0.0,0.0,-5.0,3.9,32768,9\n"), "column 15 (Bat", 5},
        {changed("1,60,0,,0,0,0.0,0,0.0,0.0,0.0,0.0,-5.0,3.9,0,\x1b\n"), "(%%)): '.' is no", 5},
        {changed(heading), ":3: the heading is repeated", 5},
        {good.substr(heading.size()), ":1: the heading is missing", 6},
        {changed("7,60" + line3.substr(4)), ":4: session 1 after 7", 6},
        {changed("1,6000" + line3.substr(4)), ":4: uptime 120 after 6000 in one session", 6},
        {heading.substr(0, 14) + good.substr(heading.size()), ":1: the heading is torn", 5},
        {heading.substr(0, 14) + line3.substr(0, 20) + good.substr(heading.size()),
         ":1: the heading is torn", 5},
        {heading.substr(0, 14) + std::string(4082, '\0') + good.substr(heading.size()),
         ":1: the heading is torn", 5},
        {std::string(200, '\0') + good.substr(heading.size()), ":1: the heading is torn", 5},
        {"", ":1: the file is empty", 0},
        {"Time,Value\n" + good, ":1: not the heading of a device's log: 'Time,Value'", 0},
        {"Session ID,Uptime (s),Value\n" + good, ":1: not the heading of a device's log: 'Ses", 0},
        {std::string("\x7f"
                     "ELF\0\0\n",
                     7) +
             good,
         ":1: not the heading of a device's log: '.ELF", 0},
        {std::string(1 << 20, 'x'), ":1: a long line instead of the heading", 0},
    };
    for (const auto& [content, problem, samples] : rows) {
        Put(content);
        EXPECT_EQ(Run("check @"), exitProblems) << problem;
        EXPECT_THAT(out.str(), AllOf(HasSubstr(problem),
                                     HasSubstr(std::to_string(samples) + " samples, 1 problems")));
        EXPECT_THAT(out.str(), Not(HasSubstr("\x1b"))) << "a control sequence of a terminal";
        EXPECT_EQ(Run("summary @"), samples > 0 ? exitSuccess : exitProblems) << problem;
        EXPECT_THAT(samples > 0 ? out.str() : err.str(), HasSubstr(problem + 3));
    }
    Put(heading.substr(0, 14)); // the first write of the first session
    EXPECT_EQ(Run("check @"), exitProblems);
    EXPECT_THAT(out.str(), HasSubstr(":1: the heading is torn by a power cut\n"));
    EXPECT_EQ(Run("summary @"), exitSuccess);
    Put(changed("\n") + "torn");
    EXPECT_EQ(Run("summary @"), exitSuccess);
    EXPECT_THAT(out.str(), HasSubstr("first problem, in line 3: has 1 columns"));
    // Valid lines of the device, and changes by other programs, are not reported as damage.
    Put(changed(
        "1,60,18446744073709551615,A B;\"C,4294967295,0,inf,0,nan,-nan,340282346638528859811704"
        "183484516925440.0,0.0,-5.0,3.9,-32768,255\r\n"));
    EXPECT_EQ(Run("check @"), exitSuccess) << out.str();
    EXPECT_EQ(Run("summary @ --json"), exitSuccess);
    EXPECT_THAT(out.str(), HasSubstr(R"("most":18446744073709551615)"));
}

TEST_F(LogToolTest, SurvivesAnyBytes) {
    std::minstd_rand random(1);
    const std::string good = Write({30, 30, 30});
    for (int round = 0; round < 100; ++round) {
        std::string content = good;
        for (int change = 0; change < 20; ++change) {
            content[random() % content.size()] = "\0\n,.-e9\xff"[random() % 8];
        }
        Put(content.substr(round % 3 == 0 ? random() % content.size() : 0));
        for (const char* line : {"check --limit 3 @", "summary @", "summary --json @"}) {
            EXPECT_LE(Run(line), exitProblems);
        }
    }
}

TEST_F(LogToolTest, DrawsWithGnuplotOrReportsWhyNot) {
    Write({5000, 3});
    const std::string path = std::getenv("PATH");
    const std::string picture = directory / "log.svg";
    const std::string command = "plot @ -o " + picture;
    ::setenv("PATH", (directory / "").c_str(), 1);
    EXPECT_EQ(Run(command), exitOutput);
    EXPECT_THAT(err.str(), HasSubstr("gnuplot is not installed"));
    const auto fake = [&](const std::string& commands) {
        std::filesystem::permissions(directory.Write("gnuplot", "#!/bin/sh\n" + commands),
                                     std::filesystem::perms::owner_all);
        return Run(command);
    };
    EXPECT_EQ(fake("exit 1"), exitOutput); // gnuplot exits before it reads its input
    EXPECT_EQ(fake("exec /bin/cat"), exitSuccess) << err.str();
    EXPECT_EQ(fake("echo half; exit 1"), exitOutput);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory / ""), {}), 4)
        << "more than the log, its session, gnuplot and the picture";
    ::setenv("PATH", path.c_str(), 1);
    const std::string script = directory.Read("log.svg");
    EXPECT_EQ(script.find("set terminal svg "), 0U);
    EXPECT_THAT(std::ranges::count(script, '\n'), AllOf(Gt(2000), Lt(4100)));
    EXPECT_THAT(script, AllOf(HasSubstr("\n\n83.3167 ? ? 0 0 -5 90 3.9 ?\n"), // a gap in the curve
                              HasSubstr(" title 'battery'"), HasSubstr("NaN title 'no readings'")));
}

TEST_F(LogToolTest, DocumentsEveryJsonField) {
    Write({21});
    ASSERT_EQ(Run("summary @ --json"), exitSuccess);
    auto printed = nlohmann::ordered_json::parse(out.str());
    printed["columns"] =
        *printed["columns"].begin(); // the fields are named after the log's columns
    vantorel::test::Names fields;
    vantorel::test::AddFields(fields, printed);
    const char* const page =
#include "ManualPage.inc"
        ;
    EXPECT_EQ(fields, vantorel::test::DocumentedFields(page)[""]);
}

TEST_F(LogToolTest, RejectsUnreadableFilesAndUnknownCommands) {
    EXPECT_EQ(Run("summary @"), exitInput);
    EXPECT_THAT(err.str(), HasSubstr("No such file or directory"));
    std::filesystem::create_directory(log);
    EXPECT_EQ(Run("check @"), exitInput);
    EXPECT_THAT(err.str(), HasSubstr("Is a directory"));
    EXPECT_EQ(Run("plot @ -o log.pdf"), exitUsage);
    EXPECT_EQ(Run("sumary @"), exitUsage);
    EXPECT_EQ(err.str(), "vantorel-log: sumary: no such command; did you mean summary?\n");
}

} // namespace
} // namespace vantorel::logtool::test
