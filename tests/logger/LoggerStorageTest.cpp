// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// The log after a storage failure, after damage, and after its process is killed.
#include "tests/support/CapturedOutput.h"
#include "tests/support/ErrorOf.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/TemporaryDirectory.h"
#include "vantorel/logger/Logger.h"

#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>

#include <sys/wait.h>

namespace vantorel {
namespace {

using namespace std::chrono_literals;

/** Logs lines of different lengths with uptimes of 0, 1, 2, ... seconds. */
void Log(Logger& logger, int lines) {
    for (int line = 0; line < lines; ++line) {
        LoggerEntry entry = logger.CreateEntry();
        entry.cameraErrorCount = 1U << line % 31;
        logger.AddEntry(entry, line * 1000ms);
    }
}

/** Counts a session's lines; returns -1 if one is incomplete or if an earlier one is missing. */
int WholeLines(const std::string& log, const std::string& session) {
    int count = 0;
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        const bool isNext = line.starts_with(session + ',' + std::to_string(count) + ',');
        count += isNext ? 1 : 0;
        if (line.starts_with(session + ',') && (!isNext || std::ranges::count(line, ',') != 15)) {
            return -1;
        }
    }
    return log.ends_with('\n') ? count : -1;
}

class LoggerStorageTest : public testing::Test {
protected:
    void TearDown() override { ::umount2((directory / "").c_str(), MNT_DETACH); }

    /** Logs in a process that is then killed. */
    void LogAndDie(int lines, bool flush) {
        const pid_t child = ::fork();
        if (child == 0) {
            Logger logger(directory / "");
            Log(logger, lines);
            if (flush) {
                logger.Flush();
            }
            ::raise(SIGKILL);
        }
        while (::waitpid(child, nullptr, 0) == -1 && errno == EINTR) {
        }
    }

    test::CapturedOutput output;
    test::TemporaryDirectory directory;
};

TEST_F(LoggerStorageTest, NumbersSessionsForEveryContentOfTheirFile) {
    const std::pair<const char*, const char*> rows[] = {
        {" 41\nmore", "42\n"},
        {"garbage", "1\n"},
        {"99999999999", "1\n"},
    };
    for (const auto& [found, left] : rows) {
        directory.Write("session", found);
        const Logger logger(directory / "");
        EXPECT_EQ(directory.Read("session"), left) << found;
    }
    EXPECT_EQ(std::ranges::count(directory.Read("debug.csv"), '\n'), 1) << "the column names";
}

TEST_F(LoggerStorageTest, LosesOnlyBufferedWholeLinesWhenKilled) {
    constexpr int lines = 1000;
    LogAndDie(lines, false);
    const std::string log = directory.Read("debug.csv");
    const int kept = WholeLines(log, "1");
    EXPECT_LT(kept, lines) << "not buffered: every line costs a write to the flash";
    EXPECT_GT(kept, lines - 200) << "more than 9000 bytes were buffered";

    LogAndDie(lines, true);
    EXPECT_THAT(directory.Read("debug.csv"), testing::StartsWith(log)) << "earlier lines changed";
    EXPECT_EQ(WholeLines(directory.Read("debug.csv"), "2"), lines);
}

TEST_F(LoggerStorageTest, ThrowsWhenTheLogCannotBeCreated) {
    std::filesystem::create_directories(directory / "taken/debug.csv");
    EXPECT_EQ(test::ErrorOf([&] { Logger logger(directory / "taken/"); }), EIO);
    EXPECT_EQ(test::ErrorOf([&] { Logger logger(directory / "missing/below/"); }), ENOENT);
}

TEST_F(LoggerStorageTest, KeepsTheLinesThatFitOnAFullDiskAndContinuesToPrint) {
    VANTOREL_NEED_PRIVATE_MOUNTS();
    test::Must(::mount("tmpfs", (directory / "").c_str(), "tmpfs", 0, "size=65536"));
    constexpr int lines = 3000;
    {
        Logger logger(directory / "");
        Log(logger, lines);
    }
    const std::string log = directory.Read("debug.csv");
    EXPECT_GT(log.size(), 50000U);
    EXPECT_GT(WholeLines(log.substr(0, log.rfind('\n') + 1), "1"), 500);
    EXPECT_THAT(output.Take(), testing::HasSubstr("SESSION: 1 "));
    Logger next(directory / ""); // its session number does not fit either
    Log(next, lines);
    EXPECT_THAT(output.Take(), testing::HasSubstr("NERR: " + std::to_string(1U << 23)));
    EXPECT_EQ(directory.Read("debug.csv").substr(0, log.size()), log);
}

} // namespace
} // namespace vantorel
