// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// A firmware update: its states, its failures, the valid contents of an archive, and a host's
// changes to it.

#include "tests/update/UpdateFixture.h"

#include <atomic>
#include <functional>
#include <new>
#include <set>

#include <sys/resource.h>

namespace vantorel {
namespace {

using namespace test;
using testing::HasSubstr;

TEST_F(Update, InstallsIntoTheInactiveSlot) {
    for (const int running : {0, 1}) {
        const std::string fit = running == 0 ? "mtd2" : "mtd0";
        const std::string rootfs = running == 0 ? "mtd3" : "mtd1";
        Renew();
        std::filesystem::remove(archive);
        Construct("image_select=" + std::to_string(running) + "\n");
        EXPECT_EQ(output->Take(), "IMAGE_SELECT: " + std::to_string(running) + "\n");
        EXPECT_EQ(Poll(1), remount) << "the drive is empty";
        Pack({"fit", "rootfs", "bqfs", "README"});
        EXPECT_EQ(Poll(4), remount + Transition(1) + "first: found\n" + untar + Transition(2) +
                               "first: valid\n" + Transition(3) + "first: begin\n" + Transition(4));
        EXPECT_FALSE(std::filesystem::exists("/tmp/var/firstboot"));
        sys->Sync = [] { // durable before "complete"
            PrintStatus("kept: marker ", ReadFile("/tmp/var/firstboot"));
        };
        EXPECT_EQ(Poll(1), "first: 25 %\n" + flash + "fit|/dev/" + fit + "\nfirst: 50 %\n" + flash +
                               "rootfs|/dev/" + rootfs + "\nfirst: 75 %\n" + setSlot +
                               std::to_string(1 - running) + "\nfirst: 100 %\nkept: marker 1\n\n" +
                               Transition(5) + "first: complete\n");
        sys->Sync = nullptr;
        EXPECT_EQ(Poll(2), "") << "the update is complete";
        EXPECT_EQ(test::ReadFile("/flash/" + fit), "new fit");
        EXPECT_EQ(test::ReadFile("/flash/" + rootfs), "new rootfs");
        EXPECT_EQ(test::ReadFile("/tmp/var/update/bqfs"), "new bqfs");
        EXPECT_EQ(test::ReadFile("/tmp/var/firstboot"), "1\n");
    }
}

TEST_F(Update, PollsTheDriveFourTimesASecondOnAHost) {
    std::atomic<int> pauses{0};
    sys->Nanosleep = [&](const timespec* pause, timespec*) {
        EXPECT_EQ(pause->tv_sec, 0);
        EXPECT_EQ(pause->tv_nsec, 250'000'000);
        return ++pauses, 0;
    };
    std::filesystem::remove(archive);
    using enum ConnectionState;
    for (const auto state : {Undetermined, Battery, BatteryCharger, NoHost, NoBattery}) {
        Construct("image_select=0\n");
        // If it had started, destroying it would end the process.
        manager->OnConnectionStateChanged(state, Undetermined);
    }
    Construct("image_select=0\n");
    manager->OnConnectionStateChanged(Host, Undetermined);
    EXPECT_TRUE(Eventually([&] { return pauses >= 3; }));
    manager->Stop();
}

TEST_F(Update, NeverStartsWithoutARunningSlot) {
    for (const auto& [commandLine, slot] :
         {std::pair{"quiet\n", ""}, {"image_select=2\n", "2"}, {"image_select=\n", ""}}) {
        Construct(commandLine);
        EXPECT_EQ(output->Take(), std::string("IMAGE_SELECT: ") + slot + "\n");
        // If it had started, destroying it would end the process.
        manager->OnConnectionStateChanged(ConnectionState::Host, ConnectionState::NoHost);
        // An application may make the steps itself.
        EXPECT_THAT(Poll(2), HasSubstr("first: valid")) << commandLine;
        EXPECT_EQ(Poll(3), Transition(3) + "first: begin\n" + Transition(4) + "first: 25 %\n" +
                               Transition(6) + "first: error 52\n");
    }
}

TEST_F(Update, EndsInOneErrorForEachAndLeavesTheBootLoaderAlone) {
    const std::string fit = "first: 25 %\nsecond: 25 %\n" + flash + "fit|/dev/mtd2\n";
    const std::string half = fit + "first: 50 %\nsecond: 50 %\n";
    const std::string rootfs = half + flash + "rootfs|/dev/mtd3\n";
    const std::string written = rootfs + "first: 75 %\nsecond: 75 %\n";
    const struct {
        const char* what;
        std::function<void()> spoil;
        std::string steps; // of the last poll
    } rows[] = {
        {"no boot image", [&] { Behave("case $3 in *fit) exit 1;; esac"); }, fit},
        {"killed", [&] { Behave("case $3 in *rootfs) kill -9 $$;; esac"); }, rootfs},
        {"no partition", [] { test::WriteFile("/proc/mtd", "mtd2: 0 0 \"FIT_1\"\n"); }, half},
        {"no variable", [&] { Behave("case $1 in image_select) exit 1;; esac"); },
         written + setSlot + "1\n"},
        {"no tool for it", [] { std::filesystem::remove("/usr/bin/fw_setenv"); }, written},
        {"no slot", [] { test::WriteFile("/proc/cmdline", "image_select=2\n"); }, written},
    };
    for (const auto& [what, spoil, steps] : rows) {
        Renew();
        manager->AddObserver(second);
        EXPECT_THAT(Poll(4), HasSubstr(Transition(4))) << what;
        spoil();
        EXPECT_EQ(Poll(1), steps + Transition(6) + "first: error 52\nsecond: error 52\n") << what;
        EXPECT_EQ(Poll(2), "") << what;
        EXPECT_FALSE(std::filesystem::exists("/tmp/var/firstboot")) << what;
    }
}

TEST_F(Update, FailsOrThrowsWhenAnObserverThrows) {
    for (const char* at : {"found", "begin"}) {
        Renew();
        first.throwsAt = at;
        EXPECT_THROW(Poll(5), std::runtime_error) << at;
    }
    for (const auto& [at, isSelected] : {std::pair{"valid", false},
                                         {"25 %", false},
                                         {"75 %", false},
                                         {"100 %", true},
                                         {"complete", true}}) {
        Renew();
        first.throwsAt = at;
        const std::string said = Poll(5);
        EXPECT_THAT(said, testing::EndsWith("first: " + std::string(at) + "\n" + Transition(6) +
                                            "first: error 52\n"));
        EXPECT_EQ(said.find(setSlot) != std::string::npos, isSelected) << at;
        EXPECT_EQ(Poll(2), "") << at;
    }
}

TEST_F(Update, WaitsWhileTheDriveCannotBeMounted) {
    sys->Mount = [](auto...) { return test::FailWith(EINVAL); };
    EXPECT_EQ(Poll(3), "umount\numount\numount\n");
    sys->Mount = [](auto...) -> int { throw std::bad_alloc(); };
    EXPECT_EQ(Poll(3), "umount\numount\numount\n");
}

TEST_F(Update, NotifiesOnlyATransitionFromThePrecedingState) {
    const std::string news[] = {"", "found", "valid", "begin", "", "complete", "error 52", ""};
    const auto transit = [&](int state) {
        output->Take();
        manager->TransitionToState(static_cast<FirmwareUpdateState>(state));
        return output->Take();
    };
    const auto announced = [&](int state) {
        return Transition(state) + (news[state].empty() ? "" : "first: " + news[state] + "\n");
    };
    for (int from = 0; from <= 6; ++from) {
        for (int to = 0; to <= 7; ++to) {
            SCOPED_TRACE(testing::Message() << "from " << from << " to " << to);
            Construct("image_select=0\n");
            for (int step = from == 6 ? 6 : 1; step <= from; ++step) {
                transit(step);
            }
            const bool follows = to == 0 || to == 6 || (to == from + 1 && to < 6);
            EXPECT_EQ(transit(to), follows ? announced(to) : Transition(to));
            // What was refused changed nothing: the next states still follow. State 4 is silent.
            const int left = follows ? to : from;
            for (int next = left + 1; next <= 5; ++next) {
                EXPECT_EQ(transit(next), announced(next));
            }
        }
    }
}

/** Truncates the archive on the drive to its first tenths. */
void Truncate(unsigned tenths) {
    std::filesystem::resize_file(archive, std::filesystem::file_size(archive) * tenths / 10);
}

/** Replaces the archive by a good member and a bad one. */
void PutBeside(const std::string& good, const std::string& bad) {
    test::WriteFile(archive, Member(good, "new " + good) + bad + std::string(1024, '\0'));
}

TEST_F(UpdateArchives, AreCheckedAgainWithoutAnErrorWhenTheyAreBad) {
    const std::pair<const char*, std::function<void()>> rows[] = {
        {"not an archive", [] { test::WriteFile(archive, std::string(5000, 'x')); }},
        {"only a root file system", [&] { Pack({"rootfs"}); }},
        {"only a boot image", [&] { Pack({"fit"}); }},
        {"a link as a member", [&] { Pack({"rootfs"}, "ln -s /bin/sh fit"); }},
        {"a directory as a member", [&] { Pack({"fit"}, "mkdir rootfs; echo >rootfs/file"); }},
        {"a directory named as the archive", [&] { Pack({"fit"}, "mkdir THERMAL.STR"); }},
        {"a link named as the archive",
         [&] { Pack({"fit"}, "ln -s /running-firmware THERMAL.STR"); }},
        {"an empty file", [] { Truncate(0); }},
        {"half of an archive", [] { Truncate(5); }},
        {"an archive without its last bytes", [] { Truncate(7); }}, // the rest is padding
        {"a sparse member", [] { PutBeside("fit", Header('S', "rootfs", "0")); }},
        {"a device as a member", [] { PutBeside("rootfs", Header('3', "fit", "0")); }},
        // Opening the pipe would block forever.
        {"a pipe as a member", [] { PutBeside("fit", Header('6', "rootfs", "0")); }},
        {"a hard link to a file of the device",
         [] {
             PutBeside("fit", Header('1', "rootfs", "0", "/running-firmware") +
                                  Header('2', "more", "0", "rootfs"));
         }},
        {"a hard link, then data for the same name",
         [] {
             PutBeside("fit", Header('1', "rootfs", "0", "/running-firmware") +
                                  Member("rootfs", "overwritten"));
         }},
        {"a symbolic link, then data for the same name",
         [] {
             PutBeside("fit", Header('2', "rootfs", "0", "/running-firmware") +
                                  Member("rootfs", "overwritten"));
         }},
        {"8 GiB in a kilobyte", [] { PutBeside("fit", Header('0', "rootfs", "100000000000")); }},
        {"no tar", [&] { Behave("[ $1 != tar ] || exit 127"); }},
        {"a tar that unpacks nothing", [&] { Behave("[ $1 != tar ] || exit 0"); }},
        {"no space to unpack it",
         [] { test::Must(::mount("tmpfs", "/tmp/update", "tmpfs", 0, "size=64k")); }},
    };
    for (const auto& [what, spoil] : rows) {
        Renew();
        test::WriteFile("/running-firmware", "untouched");
        Pack({"fit"}, "printf %0100000d 0 >rootfs");
        // The members of a good archive must not complete the bad one.
        EXPECT_THAT(Poll(2), HasSubstr("first: valid"));
        spoil();
        EXPECT_EQ(PollAnew(4), refusal + refusal) << what;
        EXPECT_EQ(test::ReadFile("/running-firmware"), "untouched") << what;
        EXPECT_TRUE(std::filesystem::is_empty("/flash")) << what;

        // Remains of the bad archive do not stop the next one.
        ::umount("/tmp/update");
        Behave("");
        Pack({"fit", "rootfs"});
        EXPECT_THAT(Poll(5), HasSubstr("first: complete")) << what;
    }
}

// Folders may be nested deeper than this process may have files open, and so deep that their paths
// from the root are too long for the kernel. They may have the names that the removal would use.
TEST_F(UpdateArchives, LeaveNothingThatStopsTheNextOneHoweverDeep) {
    rlimit usual{};
    Must(::getrlimit(RLIMIT_NOFILE, &usual));
    const auto pollWithFewFiles = [&](int times) {
        const rlimit few{48, usual.rlim_max};
        Must(::setrlimit(RLIMIT_NOFILE, &few));
        const std::string said = PollAnew(times);
        Must(::setrlimit(RLIMIT_NOFILE, &usual));
        return said;
    };
    const auto below = [](std::string path, std::size_t length, const std::string& name) {
        while (path.size() < length) {
            path += '/' + name;
        }
        return ' ' + path.substr(0, length);
    };
    Pack({"fit", "rootfs"}, "mkdir -p" + below("deep", 504, "deep"));
    EXPECT_THAT(pollWithFewFiles(2), HasSubstr("first: valid"));
    for (const auto& tops : {std::set<std::string>{"fit", "rootfs"}, {".1", ".2", ".3"}}) {
        std::string folders;
        std::string names;
        for (const std::string& top : tops) {
            folders += below(top, 4090, std::string(250, 'l'));
            names += ' ' + top;
        }
        Pack({}, "mkdir -p" + folders + "; exec tar -cf /drive/THERMAL.STR" + names);
        EXPECT_EQ(pollWithFewFiles(2), refusal) << names;
        Pack({"fit", "rootfs"});
        EXPECT_THAT(pollWithFewFiles(5), HasSubstr("first: complete")) << names;
        const std::filesystem::directory_iterator remains("/tmp/update");
        EXPECT_EQ(std::distance(begin(remains), end(remains)), 3) << "the archive and two members";
    }
}

// From no space to enough space for the archive and all its members.
TEST_F(UpdateArchives, AreInstalledWholeOrNotAtAllWhateverRoomThereIs) {
    const std::string image(50000, 'x');
    bool wasRefused = false;
    bool wasInstalled = false;
    for (int pages = 1; pages <= 60; pages += 3) {
        SCOPED_TRACE(pages);
        Renew();
        test::WriteFile(archive,
                        Member("fit", image) + Member("rootfs", image) + std::string(1024, '\0'));
        const std::string room = "size=" + std::to_string(pages * 4) + "k";
        test::Must(::mount("tmpfs", "/tmp/update", "tmpfs", 0, room.c_str()));
        const std::string said = Poll(5);
        const bool isInstalled = said.find("first: complete") != std::string::npos;
        (isInstalled ? wasInstalled : wasRefused) = true;
        EXPECT_THAT(said, testing::Not(HasSubstr("error")));
        if (!isInstalled) {
            EXPECT_TRUE(std::filesystem::is_empty("/flash"));
            test::Must(::mount("tmpfs", "/tmp/update", "tmpfs", MS_REMOUNT, "size=1m"));
            EXPECT_THAT(PollAnew(5), HasSubstr("first: complete"));
        }
        EXPECT_EQ(test::ReadFile("/flash/mtd2"), image);
        EXPECT_EQ(test::ReadFile("/flash/mtd3"), image);
        ::umount("/tmp/update");
    }
    EXPECT_TRUE(wasRefused && wasInstalled);
}

// A full file system must not prevent a valid update. The marker is then missing.
TEST_F(UpdateArchives, AreInstalledWithoutRoomForTheMarkerOfTheFirstStart) {
    test::Must(::mount("tmpfs", "/tmp/var", "tmpfs", 0, "size=4k"));
    test::WriteFile("/tmp/var/full", std::string(4096, 'x'));
    EXPECT_THAT(Poll(5), HasSubstr(setSlot + "1\nfirst: 100 %\n" + Transition(5)));
    EXPECT_EQ(test::ReadFile("/flash/mtd3"), "new rootfs");
    ::umount("/tmp/var");
}

TEST_F(UpdateArchives, AreNotCompletedByWhatLiesAround) {
    Pack({"rootfs"});
    Poll(1);
    test::WriteFile("/tmp/update/fit", "old fit");
    EXPECT_EQ(Poll(1), untar + Transition(0));
}

// Kept: a killed tar does not count as failed, so the members decide.
TEST_F(UpdateArchives, AreValidOnceBothMembersExistWhenASignalEndsTar) {
    for (const bool both : {false, true}) {
        const std::string last = both ? "printf part >/tmp/update/rootfs; " : "";
        Behave("[ $1 != tar ] || { printf whole >/tmp/update/fit; " + last + "kill -9 $$; }");
        EXPECT_EQ(PollAnew(2).ends_with("first: valid\n"), both);
    }
}

TEST_F(UpdateArchives, AreFlashedAsCheckedWhileTheHostWrites) {
    const std::function<void()> deeds[] = {[&] {
                                               Pack({"fit", "rootfs", "bqfs"});
                                           },
                                           [] { Truncate(3); },
                                           [] { std::filesystem::remove(archive); }};
    for (const auto& deed : deeds) {
        for (int polls = 1; polls <= 4; ++polls) {
            Renew();
            Pack({"fit"}, "printf checked >rootfs");
            Poll(polls);
            deed();
            EXPECT_THAT(Poll(5 - polls), HasSubstr("first: complete")) << polls;
            EXPECT_EQ(test::ReadFile("/flash/mtd2"), "new fit") << polls;
            EXPECT_EQ(test::ReadFile("/flash/mtd3"), "checked") << polls;
            EXPECT_FALSE(std::filesystem::exists("/tmp/var/update/bqfs")) << polls;
        }
    }
}

} // namespace
} // namespace vantorel
