// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "tests/support/CapturedOutput.h"
#include "tests/support/PrivateRoot.h"
#include "tests/support/ScriptedSys.h"
#include "vantorel/service/Error.h"
#include "vantorel/service/private/StatusLine.h"
#include "vantorel/system/Filesystem.h"
#include "vantorel/update/FirmwareUpdateManager.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <stdexcept>

namespace vantorel::test {

/**
 * Prints each notification among the status lines, and changes the errors that it receives. Throws
 * after it has printed the given one.
 */
class UpdateWitness : public FirmwareUpdateObserver {
public:
    explicit UpdateWitness(std::string witnessName) : name(std::move(witnessName)) {}
    void OnFirmwareUpdateFileFound(FirmwareUpdateManager&) override { Say("found"); }
    void OnFirmwareUpdateFileValid(FirmwareUpdateManager&) override { Say("valid"); }
    void OnFirmwareUpdateBegin(FirmwareUpdateManager&) override { Say("begin"); }
    void OnFirmwareUpdateInProgress(FirmwareUpdateManager&, std::uint8_t percent) override {
        Say(std::to_string(percent) + " %");
    }
    void OnFirmwareUpdateComplete(FirmwareUpdateManager&) override { Say("complete"); }
    void OnFirmwareUpdateError(FirmwareUpdateManager&, Error& error) override {
        Say("error " + std::to_string(error.Value()));
        error = Error(1);
    }
    std::string throwsAt;

private:
    void Say(const std::string& what) {
        PrintStatus(name, ": ", what);
        if (what == throwsAt) {
            throw std::runtime_error(what);
        }
    }
    std::string name;
};

/**
 * A device that unpacks archives with the real tar and uses a folder as its flash. It prints status
 * lines, notifications, mounts and program calls in order.
 */
class Update : public testing::Test {
protected:
    void SetUp() override {
        VANTOREL_NEED_PRIVATE_MOUNTS();
        root.emplace();
        output.emplace(); // needs the /tmp of the root
        CoverWithTmpfs("/proc");
        for (const char* directory : {"/tmp/var", "/tmp/update", "/drive", "/flash"}) {
            std::filesystem::create_directories(directory);
        }
        sys->Mount = [](auto...) { return PrintStatus("mount"), 0; };
        sys->Umount = [](const char*) { return PrintStatus("umount"), 0; };
        sys->Rmdir = [](const char* path) { // keeps the drive's mount point
            return std::string_view(path).starts_with("/drive") ? 0 : ::rmdir(path);
        };
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
            root.reset();
        }
    }
    /** Replaces the device by a new one. */
    void Renew() {
        TearDown();
        SetUp();
    }

    /** Sets the programs' behaviour; these shell commands, which may fail, run first. */
    void Behave(const std::string& spoiled) {
        root->Behave("echo \"$line\"\n" + spoiled + R"(
case $1 in
tar) exec /bin/tar "$2" "$3" "$4" "$5" 2>/complaints ;;
flashcp) cat "$3" >"/flash/${4##*/}" ;;
esac
)");
    }

    /**
     * Writes an archive to the drive, as a host does. Each member contains "new " and its name; the
     * shell commands may add others.
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

    /** Polls this many times and returns the output. */
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

    std::optional<PrivateRoot> root;
    std::optional<CapturedOutput> output;
    ScopedSys sys;
    UpdateWitness first{"first"};
    UpdateWitness second{"second"};
    std::optional<Filesystem> drive;
    std::optional<FirmwareUpdateManager> manager;
};

inline constexpr const char* archive = "/drive/THERMAL.STR";
inline const std::string remount = "umount\nmount\n";
inline const std::string untar = "/bin/busybox|tar|-xf|/tmp/update/THERMAL.STR|-C|/tmp/update/\n";
inline const std::string flash = "/bin/busybox|flashcp|-v|/tmp/update/";
inline const std::string setSlot = "/usr/bin/fw_setenv|image_select|";

/**
 * The header of one member. Unlike a packing tool, it allows fields that contradict the rest of the
 * archive. The type is 0 for a file, 1 for a hard link, 2 for a symbolic link, 3 for a device, S
 * for a sparse file.
 */
inline std::string Header(char type, const std::string& name, const std::string& octalSize,
                          const std::string& link = "") {
    std::string header(512, '\0');
    const auto put = [&](std::size_t at, const std::string& field) {
        header.replace(at, field.size(), field);
    };
    put(0, name);
    put(100, "0000600");
    put(124, octalSize);
    put(156, std::string(1, type) + link);
    put(257, "ustar  ");
    put(148, std::string(8, ' '));
    unsigned sum = 0;
    for (const char byte : header) {
        sum += static_cast<unsigned char>(byte);
    }
    char text[8];
    std::snprintf(text, sizeof text, "%06o", sum);
    put(148, std::string(text, 7));
    return header;
}

/** A member with content. */
inline std::string Member(const std::string& name, const std::string& content) {
    char size[12];
    std::snprintf(size, sizeof size, "%011zo", content.size());
    return Header('0', name, size) + content +
           std::string((512 - content.size() % 512) % 512, '\0');
}

/** The same device; its polls start again from the archive on the drive. */
class UpdateArchives : public Update {
protected:
    /** Polls, starting in state Idle. */
    std::string PollAnew(int times) {
        manager->TransitionToState(FirmwareUpdateState::Idle);
        return Poll(times);
    }
    const std::string refusal = remount + Transition(1) + "first: found\n" + untar + Transition(0);
};

} // namespace vantorel::test
