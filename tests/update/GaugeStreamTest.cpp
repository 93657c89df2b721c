// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// The gauge stream of an update: it is passed on completely or not at all, for any free space and
// after a power cut at any time.

#include "tests/update/UpdateFixture.h"

#include <set>
#include <tuple>

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/wait.h>

namespace vantorel {
namespace {

using namespace test;
using testing::HasSubstr;

const std::string folder = "/tmp/var/update/";
const std::string pending = folder + "bqfs";

std::string Old(std::size_t size) {
    return std::string(size, 'o');
}
std::string New(std::size_t size) {
    return std::string(size, 'n');
}

/** The pending stream in short: "n50000" for New(50000), "none", or "mixed". */
std::string Waiting() {
    if (!std::filesystem::exists(pending)) {
        return "none";
    }
    const std::string text = ReadFile(pending);
    const bool isOne = !text.empty() && text.find_first_not_of(text[0]) == std::string::npos;
    return isOne ? text[0] + std::to_string(text.size()) : "mixed";
}

/** A device with 64 KiB of file system for gauge streams. */
class UpdateStreams : public UpdateArchives {
protected:
    void SetUp() override {
        UpdateArchives::SetUp();
        std::filesystem::create_directory(folder);
        Must(::mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=64k"));
    }
    void TearDown() override {
        ::umount(folder.c_str());
        UpdateArchives::TearDown();
    }

    /** Unpacks an archive with a stream. If `waiting` is not empty, that stream is pending. */
    void PassOn(const std::string& waiting, const std::string& coming) {
        WriteFile("/stream", coming);
        Pack({"fit", "rootfs"}, "cat /stream >bqfs");
        if (!waiting.empty()) {
            WriteFile(pending, waiting);
        }
        EXPECT_THAT(PollAnew(2), HasSubstr("first: valid")) << "a copy reports no failure";
    }

    /** No stream is pending, and a failed copy uses no space. */
    static void ExpectNone(const char* what) {
        EXPECT_TRUE(std::filesystem::is_empty(folder)) << what;
        std::filesystem::remove(pending);
    }
};

TEST_F(UpdateStreams, ComeFromRegularFilesOfWholeArchivesOnly) {
    WriteFile("/secret", "secret");
    Pack({"fit", "rootfs"}, "ln -s /secret bqfs");
    EXPECT_THAT(PollAnew(2), HasSubstr("first: valid"));
    ExpectNone("a link");
    Pack({"fit", "bqfs"});
    EXPECT_THAT(PollAnew(2), testing::EndsWith(refusal));
    ExpectNone("no root file system");
}

TEST_F(UpdateStreams, UseTheSpaceOfTheStreamThatTheyReplace) {
    PassOn(Old(40'000), New(50'000));
    EXPECT_EQ(Waiting(), "n50000");
    WriteFile(pending + ".part", Old(12'000)); // left by a power cut
    PassOn("", New(60'000));
    EXPECT_EQ(Waiting(), "n60000");
    EXPECT_FALSE(std::filesystem::exists(pending + ".part"));
}

TEST_F(UpdateStreams, StayPendingWhenTheNextArchiveContainsNone) {
    WriteFile(pending, Old(40'000));
    Pack({"fit", "rootfs"});
    EXPECT_THAT(PollAnew(2), HasSubstr("first: valid"));
    EXPECT_EQ(Waiting(), "o40000");
    std::filesystem::remove(pending);
}

TEST_F(UpdateStreams, LeaveNoStreamPendingWhenTheyCannotBeCopied) {
    PassOn(Old(40'000), New(100'000));
    ExpectNone("no space");
    PassOn("", New(100'000));
    ExpectNone("no space, and no stream was pending");

    sys->Open = [](const char* path, int flags, unsigned mode) {
        return path == std::string("/tmp/update/bqfs") ? FailWith(EIO) : ::open(path, flags, mode);
    };
    PassOn(Old(40'000), New(20'000));
    ExpectNone("the stream cannot be opened");
    sys->Open = nullptr;

    sys->Sendfile = [](int to, int from, off_t* offset, std::size_t size) {
        struct stat source = {};
        ::fstat(from, &source);
        if (source.st_size != 20'000) { // the archive
            return ::sendfile(to, from, offset, size);
        }
        return ::lseek(from, 0, SEEK_CUR) == 0 ? ::sendfile(to, from, offset, 5000) : FailWith(EIO);
    };
    PassOn(Old(40'000), New(20'000));
    ExpectNone("the stream cannot be read to its end");
    sys->Sendfile = nullptr;

    sys->Fsync = [](int) { return FailWith(EIO); };
    PassOn(Old(40'000), New(20'000));
    ExpectNone("the medium reports an error");
}

/** Ends the process at one of the calls that change the folder; discards unsynced data. */
class PowerCut {
public:
    PowerCut(ScopedSys& sys, int atCall) : remaining(atCall) {
        sys->Open = [this](const char* path, int flags, unsigned mode) {
            const bool changes = path == pending + ".part" && (flags & O_WRONLY) != 0;
            Step(changes);
            const int fd = ::open(path, flags, mode);
            if (changes) {
                written.insert(::dup(fd));
            }
            return fd;
        };
        sys->Sendfile = [this](int to, int from, off_t* offset, std::size_t) {
            Step(!written.empty());
            return ::sendfile(to, from, offset, 15'000);
        };
        sys->Fsync = [this](int fd) {
            Step(true);
            std::erase_if(written, [&](int other) { return Inode(other) == Inode(fd); });
            return 0;
        };
        sys->Unlink = [this](const char* path) {
            Step(true);
            return ::unlink(path);
        };
        sys->Rename = [this](const char* from, const char* to) {
            Step(true);
            return ::rename(from, to);
        };
        sys->Close = [this](int fd) {
            Step(!written.empty());
            return ::close(fd);
        };
    }

private:
    void Step(bool counts) {
        if (!counts || remaining-- != 0) {
            return;
        }
        for (const int fd : written) {
            std::ignore = ::ftruncate(fd, 5000);
        }
        ::_exit(1);
    }
    static ino_t Inode(int fd) {
        struct stat status = {};
        ::fstat(fd, &status);
        return status.st_ino;
    }

    int remaining;
    std::set<int> written; // descriptors with unsynced data
};

TEST_F(UpdateStreams, AreTheOldTheNewOrNoneAfterAPowerCutAnywhere) {
    std::set<std::string> seen;
    for (int status = -1, call = 0; status != 0; ++call) {
        Renew();
        WriteFile("/stream", New(40'000));
        Pack({"fit", "rootfs"}, "cat /stream >bqfs");
        WriteFile(pending, Old(30'000));
        const pid_t child = ::fork();
        if (child == 0) {
            const PowerCut cut(sys, call);
            manager->ServiceFunction();
            manager->ServiceFunction();
            ::_exit(0);
        }
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        seen.insert(status == 0 ? "in the end " + Waiting() : Waiting());

        PassOn("", New(60'000)); // a partial file from the cut must not use space
        EXPECT_EQ(Waiting(), "n60000") << "after a cut at call " << call;
        EXPECT_FALSE(std::filesystem::exists(pending + ".part"));
    }
    EXPECT_EQ(seen, (std::set<std::string>{"o30000", "none", "n40000", "in the end n40000"}));
}

} // namespace
} // namespace vantorel
