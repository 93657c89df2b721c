// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// The files that must survive a power cut while they are written: the first-boot marker, the units
// and the session number of the log.

#include "tests/support/CapturedOutput.h"
#include "tests/support/PrivateRoot.h"
#include "tests/support/ScriptedSys.h"
#include "tests/support/UISimulator.h"
#include "vantorel/logger/Logger.h"
#include "vantorel/service/UniqueFd.h"
#include "vantorel/system/Firstboot.h"
#include "vantorel/ui/UserInterfaceManager.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <optional>
#include <set>

namespace vantorel {
namespace {

/**
 * A disk that keeps a file's content only after fsync(), and a name only after fsync() of its
 * folder. At the given call the power is cut or only this call fails. Calls without power have no
 * effect.
 */
class Disk {
public:
    enum Fault { powerCut, powerCutWithin, failure };

    Disk(int atCall, Fault kind) : remaining(atCall), fault(kind) {
        sys->Open = [this](const char* path, int flags, unsigned mode) {
            const bool reads = (flags & O_ACCMODE) == O_RDONLY; // the old number is read first
            writing = writing || !reads;
            return !writing ? ::open(path, flags) : Make([=] { return ::open(path, flags, mode); });
        };
        sys->Write = [this](int fd, const void* data, std::size_t size) {
            if (remaining == 0 && fault == powerCutWithin) {
                static_cast<void>(!::write(fd, data, size / 2));
            }
            return Make([=] { return ::write(fd, data, size); });
        };
        sys->Fsync = [this](int fd) {
            return Make([=, this] { return durable.insert(NodeOf(fd)), renamed = "", 0; });
        };
        sys->Rename = [this](const char* from, const char* to) {
            return Make([=, this] {
                const UniqueFd file(::open(from, O_RDONLY | O_CLOEXEC));
                EXPECT_TRUE(durable.contains(NodeOf(file.Get())))
                    << "a power cut may keep the name but lose the content";
                renamed = to;
                return ::rename(from, to);
            });
        };
        sys->Unlink = [this](const char* path) { return Make([=] { return ::unlink(path); }); };
    }

    /** Whether the power was cut or the call has failed. */
    bool Struck() const { return remaining < 0; }

    test::ScopedSys sys;
    std::string renamed; // the target of a rename that no fsync() has followed

private:
    static ino_t NodeOf(int fd) {
        struct stat status {};
        return ::fstat(fd, &status) == 0 ? status.st_ino : 0;
    }

    template <typename Call>
    auto Make(Call call) -> decltype(call()) {
        const bool strikes = remaining-- == 0;
        const bool isOff = remaining < 0 && fault != failure;
        return isOff || strikes ? test::FailWith(EIO) : call();
    }

    bool writing = false;
    int remaining;
    const Fault fault;
    std::set<ino_t> durable;
};

struct StateFile {
    std::string path;
    std::string before; // empty: no file
    std::string after;
    std::function<void()> write;
};

class DurableState : public testing::Test {
protected:
    void SetUp() override {
        VANTOREL_NEED_PRIVATE_MOUNTS();
        root.emplace();
        output.emplace();
        test::WriteFile("/etc/kiro/revision", "REV-6\n");
        test::WriteFile("/etc/kiro/version", "1.5.0\n");
        ui.emplace();
        screen.emplace();
        std::filesystem::create_directories("/tmp/var/log");
    }

    void ChangeUnits(int units) {
        ::SetTemperatureUnits(units);
        vantorelui_sim_event(VANTORELUI_EVENT_UNITS_CHANGED);
    }

    std::vector<StateFile> Files() {
        return {{"/tmp/var/firstboot", "0\n", "1\n", [] { Firstboot().Reset(); }},
                {"/tmp/var/firstboot", "", "0\n", [] { Firstboot().Clear(); }},
                {"/tmp/var/units", "F", "C", [this] { ChangeUnits(VANTORELUI_CELSIUS); }},
                {"/tmp/var/log/session", "41\n", "42\n", [] { Logger("/tmp/var/log/"); }},
                {"/tmp/var/log/session", "", "1\n", [] { Logger("/tmp/var/log/"); }}};
    }

    /** A replaced file is another one. */
    static ino_t NodeOf(const std::string& path) {
        struct stat status {};
        test::Must(::stat(path.c_str(), &status));
        return status.st_ino;
    }

    std::optional<test::PrivateRoot> root;
    std::optional<test::CapturedOutput> output;
    std::optional<test::RecordedUI> ui;
    std::optional<UserInterfaceManager> screen;
};

TEST_F(DurableState, IsTheOldOrTheNewOneWheneverThePowerGoes) {
    for (const StateFile& file : Files()) {
        const auto prepare = [&file] {
            std::filesystem::remove(file.path);
            if (!file.before.empty()) {
                test::WriteFile(file.path, file.before);
            }
        };
        for (const auto fault : {Disk::powerCut, Disk::powerCutWithin, Disk::failure}) {
            bool struck = true;
            for (int call = 0; struck; ++call) {
                SCOPED_TRACE(testing::Message() << file.path << ", call " << call << ' ' << fault);
                prepare();
                {
                    Disk disk(call, fault);
                    file.write();
                    struck = disk.Struck();
                    EXPECT_TRUE(struck || disk.renamed.empty()) << "a power cut may lose the name";
                    EXPECT_TRUE(struck || call > 4) << "too few calls for a replacement";
                }
                EXPECT_THAT(test::ReadFile(file.path), testing::AnyOf(file.before, file.after));
                file.write(); // after the next start, over the remains
                EXPECT_FALSE(std::filesystem::exists(file.path + ".new"));
            }
        }
        prepare();
        test::WriteFile(file.path + ".new", "a longer file that remains after a power cut");
        file.write();
        EXPECT_EQ(test::ReadFile(file.path), file.after);
    }
}

// The file may be a link or a mount point, or a FIFO with a waiting reader.
TEST_F(DurableState, IsWrittenInPlaceWhereTheFileCannotBeReplaced) {
    const std::string path = "/tmp/var/firstboot";
    test::WriteFile("/kept", "0\n");
    std::filesystem::create_symlink("/kept", path);
    Firstboot().Reset();
    EXPECT_TRUE(std::filesystem::is_symlink(path));
    EXPECT_EQ(test::ReadFile("/kept"), "1\n");
    std::filesystem::remove(path);

    test::WriteFile(path, "under the mount");
    test::Must(::mount("/kept", path.c_str(), nullptr, MS_BIND, nullptr));
    Firstboot().Clear();
    EXPECT_EQ(test::ReadFile("/kept"), "0\n");
    EXPECT_FALSE(std::filesystem::exists(path + ".new"));
    test::Must(::umount(path.c_str()));
    std::filesystem::remove(path);

    test::MakeFifo(path);
    const UniqueFd reader(::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    Firstboot().Reset();
    std::array<char, 8> text{};
    ASSERT_EQ(::read(reader.Get(), text.data(), text.size()), 2);
    EXPECT_STREQ(text.data(), "1\n");
}

TEST_F(DurableState, KeepsThePermissionsOfItsFile) {
    const mode_t mask = ::umask(022);
    for (const auto mode : {std::filesystem::perms{0640}, std::filesystem::perms{0666}}) {
        test::WriteFile("/tmp/var/units", "F");
        std::filesystem::permissions("/tmp/var/units", mode);
        const ino_t before = NodeOf("/tmp/var/units");
        ChangeUnits(VANTORELUI_CELSIUS);
        EXPECT_NE(NodeOf("/tmp/var/units"), before) << "a power cut may leave it empty";
        EXPECT_EQ(std::filesystem::status("/tmp/var/units").permissions(), mode);
        EXPECT_EQ(test::ReadFile("/tmp/var/units"), "C");
    }
    ::umask(mask);
}

// The application may replace each file in its folder, but not with one that is less accessible to
// others, or where the file's own permissions forbid it to write.
TEST_F(DurableState, KeepsTheOwnerOfItsFileAndTheContentOfAReadOnlyOne) {
    const std::string path = "/tmp/var/firstboot";
    test::WriteFile(path, "0\n");
    const ino_t before = NodeOf(path);
    for (const auto& [owners, groups] : {std::pair{1U, 0U}, {0U, 1U}}) {
        test::WriteFile(path, "0\n");
        test::ScopedSys sys;
        sys->Lstat = [&, user = owners, group = groups](const char* name, struct stat* status) {
            const int result = ::lstat(name, status);
            status->st_uid += name == path ? user : 0;
            status->st_gid += name == path ? group : 0;
            return result;
        };
        Firstboot().Reset();
        EXPECT_EQ(NodeOf(path), before) << "another file, of the application";
        EXPECT_EQ(test::ReadFile(path), "1\n");
        EXPECT_FALSE(std::filesystem::exists(path + ".new"));
    }
    test::ScopedSys sys;
    sys->Open = [&](const char* name, int flags, unsigned mode) {
        const bool writes = (flags & O_ACCMODE) != O_RDONLY;
        return name == path && writes ? test::FailWith(EACCES) : ::open(name, flags, mode);
    };
    Firstboot().Clear();
    EXPECT_EQ(test::ReadFile(path), "1\n");
}

} // namespace
} // namespace vantorel
