// What an archive may hold, and what a host may do to it.

#include "tests/update/UpdateDevice.h"

namespace vantorel {
namespace {

using testing::HasSubstr;

constexpr const char* archive = "/drive/THERMAL.STR";

/** Keeps only the first tenths of the archive on the drive. */
void Truncate(unsigned tenths) {
    std::filesystem::resize_file(archive, std::filesystem::file_size(archive) * tenths / 10);
}

class UpdateArchives : public test::UpdateDevice {
protected:
    /** Looks again, at what is on the drive by now. */
    std::string PollAnew(int times) {
        manager->TransitionToState(FirmwareUpdateState::Idle);
        return Poll(times);
    }
    const std::string refusal = remount + Transition(1) + "first: found\n" + untar + Transition(0);
};

TEST_F(UpdateArchives, AreLookedAtAgainWithoutAnErrorWhenTheyAreBad) {
    const std::pair<const char*, std::function<void()>> rows[] = {
        {"no archive", [] { test::WriteFile(archive, std::string(5000, 'x')); }},
        {"nothing but a root file system", [&] { Pack({"rootfs"}); }},
        {"nothing but a boot image", [&] { Pack({"fit"}); }},
        {"a link for a member", [&] { Pack({"rootfs"}, "ln -s /bin/sh fit"); }},
        {"a directory for a member", [&] { Pack({"fit"}, "mkdir rootfs"); }},
        {"a directory called as the archive", [&] { Pack({"fit"}, "mkdir THERMAL.STR"); }},
        {"a link called as it", [&] { Pack({"fit"}, "ln -s /running-firmware THERMAL.STR"); }},
        {"nothing at all", [] { Truncate(0); }},
        {"half of it", [] { Truncate(5); }},
        {"all but its last bytes", [] { Truncate(7); }}, // what is behind them is padding
        {"no tar", [&] { Behave("[ $1 != tar ] || exit 127"); }},
        {"a tar that unpacks nothing", [&] { Behave("[ $1 != tar ] || exit 0"); }},
        {"no room to unpack it",
         [] { test::Must(::mount("tmpfs", "/tmp/update", "tmpfs", 0, "size=64k")); }},
    };
    for (const auto& [what, spoil] : rows) {
        Renew();
        test::WriteFile("/running-firmware", "untouched");
        Pack({"fit"}, "printf %0100000d 0 >rootfs");
        // The unpacked members of a good archive must not complete the bad one.
        EXPECT_THAT(Poll(2), HasSubstr("first: valid"));
        spoil();
        EXPECT_EQ(PollAnew(4), refusal + refusal) << what;
        EXPECT_EQ(test::ReadFile("/running-firmware"), "untouched") << what;
        EXPECT_TRUE(std::filesystem::is_empty("/flash")) << what;

        // What the bad one left is not in the way of the next one.
        ::umount("/tmp/update");
        Behave("");
        Pack({"fit", "rootfs"});
        EXPECT_THAT(Poll(5), HasSubstr("first: complete")) << what;
    }
}

TEST_F(UpdateArchives, AreNotCompletedByWhatLiesAround) {
    Pack({"rootfs"});
    Poll(1);
    test::WriteFile("/tmp/update/fit", "old fit");
    EXPECT_EQ(Poll(1), untar + Transition(0));
}

TEST_F(UpdateArchives, AreFlashedAsTheyWereCheckedWhateverTheHostDoesMeanwhile) {
    const std::function<void()> deeds[] = {
        [&] {
            Pack({"fit", "rootfs", "bqfs"});
        }, // another one
        [] { Truncate(3); },
        [] { std::filesystem::remove(archive); },
    };
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

TEST_F(UpdateArchives, PassOnAWholeGaugeStreamOfAWholeArchiveOrNone) {
    std::filesystem::create_directory("/tmp/var/update");
    test::Must(::mount("tmpfs", "/tmp/var/update", "tmpfs", 0, "size=64k"));
    test::WriteFile("/secret", "secret");
    const auto polled = [this](const std::vector<std::string>& members, const char* commands) {
        Pack(members, commands);
        const std::string text = PollAnew(2);
        EXPECT_TRUE(std::filesystem::is_empty("/tmp/var/update")) << commands;
        return text;
    };
    EXPECT_THAT(polled({"fit", "rootfs"}, "ln -s /secret bqfs"), HasSubstr("first: valid"));
    EXPECT_THAT(polled({"fit", "bqfs"}, ":"), testing::EndsWith(refusal));
    EXPECT_THAT(polled({"fit", "rootfs"}, "printf %0100000d 0 >bqfs"), HasSubstr("first: valid"))
        << "no room for the stream";
}

} // namespace
} // namespace vantorel
