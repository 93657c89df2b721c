#pragma once

#include "tests/support/CapturedOutput.h"
#include "tests/support/PrivateRoot.h"
#include "tests/support/ScriptedSys.h"
#include "vantorel/service/Error.h"
#include "vantorel/service/private/StatusLine.h"
#include "vantorel/system/Filesystem.h"
#include "vantorel/update/FirmwareUpdateManager.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <optional>

namespace vantorel::test {

/** Prints what it is told between the status lines, and spoils the errors that it is given. */
class UpdateWitness : public FirmwareUpdateObserver {
public:
    explicit UpdateWitness(std::string witnessName) : name(std::move(witnessName)) {}
    void OnFirmwareUpdateFileFound(FirmwareUpdateManager&) override { Say("found"); }
    void OnFirmwareUpdateFileValid(FirmwareUpdateManager&) override { Say("valid"); }
    void OnFirmwareUpdateBegin(FirmwareUpdateManager&) override { Say("begin"); }
    void OnFirmwareUpdateInProgress(FirmwareUpdateManager&, std::uint8_t percent) override {
        Say(std::to_string(percent) + " %");
    }
    void OnFirmwareUpdateComplete(FirmwareUpdateManager&) override {
        Say("complete");
        complete = true;
    }
    void OnFirmwareUpdateError(FirmwareUpdateManager&, Error& error) override {
        Say("error " + std::to_string(error.Value()));
        error = Error(1);
    }

    std::atomic<bool> complete = false;

private:
    void Say(const std::string& what) { PrintStatus(name, ": ", what); }
    std::string name;
};

/**
 * A device whose archives are unpacked by a real tar, and whose flash is a folder. Everything that
 * happens is printed, in its order: status lines, notifications, mounts, programs.
 */
class UpdateDevice : public testing::Test {
protected:
    void SetUp() override {
        VANTOREL_NEED_PRIVATE_MOUNTS();
        root.emplace();
        output.emplace(); // keeps a file in the root's /tmp
        CoverWithTmpfs("/proc");
        for (const char* directory : {"/tmp/var", "/tmp/update", "/drive", "/flash"}) {
            std::filesystem::create_directories(directory);
        }
        sys->Mount = [](const char*, const char*, const char*, unsigned long, const void*) {
            return PrintStatus("mount"), 0;
        };
        sys->Umount = [](const char*) { return PrintStatus("umount"), 0; };
        sys->Rmdir = [](const char*) { return 0; }; // the drive's directory outlives its mount
        WriteFile("/proc/mtd", "dev:    size   erasesize  name\n"
                               "mtd0: 00800000 00020000 \"FIT_0\"\n"
                               "mtd1: 04000000 00020000 \"rootfs_0\"\n"
                               "mtd2: 00800000 00020000 \"FIT_1\"\n"
                               "mtd3: 04000000 00020000 \"rootfs_1\"\n");
        Behave("");
        Pack({"fit", "rootfs"});
        Construct("quiet image_select=0\n");
    }
    void TearDown() override {
        if (root) {
            manager.reset();
            drive.reset();
            output.reset();
            ::umount("/proc");
        }
    }
    /** A new device. */
    void Renew() {
        TearDown();
        SetUp();
    }

    /** The programs' work, after shell commands that may spoil it. */
    void Behave(const std::string& spoiled) {
        root->Behave("echo \"$line\"\n" + spoiled + R"(
case $1 in
tar) exec /bin/tar "$2" "$3" "$4" "$5" 2>/complaints ;;
flashcp) cat "$3" >"/flash/${4##*/}" ;;
esac
)");
    }

    /**
     * Puts an archive on the drive, as a host does: members that have their names as content, and
     * what shell commands make beside them.
     */
    void Pack(const std::vector<std::string>& members, const std::string& commands = ":") {
        std::filesystem::remove_all("/content");
        std::filesystem::create_directory("/content");
        for (const std::string& name : members) {
            WriteFile("/content/" + name, "new " + name);
        }
        const std::string pack = "cd /content; " + commands + "; tar -cf /drive/THERMAL.STR *";
        ASSERT_EQ(std::system(pack.c_str()), 0);
    }

    void Construct(const std::string& commandLine) {
        manager.reset();
        drive.reset();
        WriteFile("/proc/cmdline", commandLine);
        drive.emplace("/dev/x", "/drive", "none", false, true);
        output->Take();
        manager.emplace(*drive);
        manager->AddObserver(first);
    }

    /** So many polls; answers what happened in them. */
    std::string Poll(int times) {
        output->Take();
        for (int count = 0; count < times; ++count) {
            manager->ServiceFunction();
        }
        return output->Take();
    }

    static std::string Transition(int state) {
        return "FW UPDATE TRANSITION TO STATE: " + std::to_string(state) + "\n";
    }
    static constexpr const char* remount = "umount\nmount\n";
    static constexpr const char* untar =
        "/bin/busybox|tar|-xf|/tmp/update/THERMAL.STR|-C|/tmp/update/\n";

    std::optional<PrivateRoot> root;
    std::optional<CapturedOutput> output;
    ScopedSys sys;
    UpdateWitness first{"first"};
    UpdateWitness second{"second"};
    std::optional<Filesystem> drive;
    std::optional<FirmwareUpdateManager> manager;
};

} // namespace vantorel::test
