// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/update/FirmwareUpdateManager.h"

#include "vantorel/fuelgauge/private/FlashStreamFile.h"
#include "vantorel/service/Error.h"
#include "vantorel/service/UniqueFd.h"
#include "vantorel/service/private/ListFolder.h"
#include "vantorel/service/private/StatusLine.h"
#include "vantorel/service/private/Sys.h"
#include "vantorel/service/private/WriteFile.h"
#include "vantorel/system/Filesystem.h"
#include "vantorel/system/Firstboot.h"
#include "vantorel/system/Tools.h"

#include <cerrno>
#include <cstdint>
#include <exception>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vantorel {
namespace {

constexpr std::chrono::milliseconds pollInterval{250};
constexpr const char* gaugeStreamMember = "bqfs";

bool Exists(const std::string& path) {
    return sys::Access(path.c_str(), F_OK) == 0;
}

/** Returns the status of a file, of a link itself; it has no type when there is no such file. */
struct stat StatusOf(const std::string& path) {
    struct stat status {};
    if (sys::Lstat(path.c_str(), &status) == -1) {
        status = {};
    }
    return status;
}

/** Counts a file's hard links in a folder and below. Throws when a folder cannot be listed. */
nlink_t NamesOf(const struct stat& file, const std::string& folder) {
    const Listing entries = ListFolder(folder);
    if (entries.error != 0) {
        throw Error(entries.error);
    }
    nlink_t names = 0;
    for (const std::string& name : entries.names) {
        const std::string path = PathOf(folder, name);
        const struct stat entry = StatusOf(path);
        if (S_ISDIR(entry.st_mode)) {
            names += NamesOf(file, path);
        } else if (entry.st_dev == file.st_dev && entry.st_ino == file.st_ino) {
            ++names;
        }
    }
    return names;
}

/** Returns the path of a new entry. An archive may have used the numbers after the last one. */
std::string UnusedPath(const std::string& folder, unsigned& number) {
    std::string path;
    do {
        path = PathOf(folder, '.' + std::to_string(++number));
    } while (StatusOf(path).st_mode != 0);
    return path;
}

/**
 * Removes an entry of a folder. If it is a folder, first moves the folders in it beside it, and
 * returns whether it moved one. Failures are ignored: tar fails on what remains in its way.
 */
bool RemoveOneLevel(const std::string& folder, const std::string& name, unsigned& number) {
    const std::string path = PathOf(folder, name);
    if (sys::Unlink(path.c_str()) == 0 || !S_ISDIR(StatusOf(path).st_mode)) {
        return false;
    }
    bool moved = false;
    for (const std::string& entry : ListFolder(path).names) {
        const std::string from = PathOf(path, entry);
        if (sys::Unlink(from.c_str()) != 0) {
            const std::string to = UnusedPath(folder, number);
            moved = sys::Rename(from.c_str(), to.c_str()) == 0 || moved;
        }
    }
    sys::Rmdir(path.c_str());
    return moved;
}

/**
 * Excludes links: a symbolic or hard link in place of a member would refer to the device's files.
 */
bool IsMember(const std::string& path, const std::string& folder) {
    const struct stat status = StatusOf(path);
    return S_ISREG(status.st_mode) &&
           (status.st_nlink == 1 || status.st_nlink <= NamesOf(status, folder));
}

/** Makes a file's content, or a folder's entries, durable; returns false when that fails. */
bool FlushPath(const std::string& path) {
    const UniqueFd fd(sys::Open(path.c_str(), O_RDONLY | O_CLOEXEC, 0));
    return Flush(fd.Get());
}

/** Compares the sizes, because Tools::Cp() does not report an incomplete copy. */
bool IsWholeCopy(const std::string& copy, const std::string& source) {
    const struct stat status = StatusOf(copy);
    return S_ISREG(status.st_mode) && status.st_size == StatusOf(source).st_size;
}

/**
 * Replaces a stream that still waits with the stream of an update. Removes the old stream first,
 * so that its space is available to the new one. Renames the new stream only when it is durable:
 * the gauge would play an incomplete stream like a complete one and lose its firmware.
 */
void ReplaceGaugeStream(const std::string& source) {
    const std::string destination = flashStreamFile;
    const std::string part = destination + ".part";
    sys::Unlink(destination.c_str());
    Tools::Cp(source, part);
    if (!IsWholeCopy(part, source) || !FlushPath(part) ||
        sys::Rename(part.c_str(), destination.c_str()) != 0) {
        sys::Unlink(part.c_str());
    }
    FlushPath(flashStreamDirectory);
}

/** The running slot, or an empty text when the kernel's command line names none. */
std::string RunningSlot() {
    try {
        return Tools::ImageSelect();
    } catch (const std::exception&) {
        return "";
    }
}

/** The slot that an update goes to, or an empty text when the running slot is unknown. */
std::string OtherSlot(const std::string& running) {
    return running == "0" ? "1" : running == "1" ? "0" : "";
}

} // namespace

FirmwareUpdateManager::FirmwareUpdateManager(Filesystem& drive)
    : Service(pollInterval),
      filesystem(drive),
      updateDirectory("/tmp/update/"),
      imageName("THERMAL.STR") {
    Tools::Mkdir(updateDirectory);
    const std::string slot = RunningSlot();
    PrintStatus("IMAGE_SELECT: ", slot);
    const std::string other = OtherSlot(slot);
    if (other.empty()) {
        disabled = true;
    } else {
        fit.partition = "FIT_" + other;
        rootfs.partition = "rootfs_" + other;
    }
}

FirmwareUpdateManager::~FirmwareUpdateManager() {
    TerminateIfJoinable();
}

void FirmwareUpdateManager::OnConnectionStateChanged(ConnectionState newState,
                                                     ConnectionState) noexcept {
    if (newState == ConnectionState::Host && !disabled) {
        Start();
    }
}

void FirmwareUpdateManager::OnConnectionError(Error&) {}

void FirmwareUpdateManager::TransitionToState(FirmwareUpdateState newState) {
    using enum FirmwareUpdateState;
    PrintStatus("FW UPDATE TRANSITION TO STATE: ", static_cast<int>(newState));
    const bool follows =
        newState <= Failed && static_cast<int>(newState) == static_cast<int>(state) + 1;
    if (newState != Idle && newState != Failed && !follows) {
        return;
    }
    state = newState;
    switch (newState) {
    case FileFound:
        observers.Notify(&FirmwareUpdateObserver::OnFirmwareUpdateFileFound, *this);
        break;
    case FileValid:
        observers.Notify(&FirmwareUpdateObserver::OnFirmwareUpdateFileValid, *this);
        break;
    case Begin:
        observers.Notify(&FirmwareUpdateObserver::OnFirmwareUpdateBegin, *this);
        break;
    case Complete:
        observers.Notify(&FirmwareUpdateObserver::OnFirmwareUpdateComplete, *this);
        break;
    case Failed:
        observers.ForEach([this](FirmwareUpdateObserver& observer) {
            // Each observer gets a new error, because an observer may change the one that it
            // receives. The value does not depend on what failed. Kept: an observer may rely on
            // it.
            Error error(EBADE);
            observer.OnFirmwareUpdateError(*this, error);
        });
        break;
    case Idle:
    case InProgress:
        break;
    }
}

void FirmwareUpdateManager::ServiceFunction() {
    using enum FirmwareUpdateState;
    switch (state) {
    case Idle:
        if (IsUpdateImagePresent()) {
            TransitionToState(FileFound);
        }
        break;
    case FileFound:
        try {
            // A bad archive is not an error: the host may still be copying it. The next poll reads
            // it again.
            TransitionToState(IsUpdateImageValid() ? FileValid : Idle);
        } catch (...) {
            TransitionToState(Failed);
        }
        break;
    case FileValid:
        TransitionToState(Begin);
        break;
    case Begin:
        TransitionToState(InProgress);
        EraseFlash();
        break;
    case InProgress:
        try {
            WriteFlash();
            VerifyFlash();
            UpdateImageSelect();
            Firstboot().Reset();
            sys::Sync(); // observers may turn the power off once they know of the end
            TransitionToState(Complete);
        } catch (...) {
            TransitionToState(Failed);
        }
        break;
    case Complete:
    case Failed:
        break;
    }
}

bool FirmwareUpdateManager::IsUpdateImagePresent() {
    try {
        // Without the remount, the kernel returns what it cached before the host wrote.
        filesystem.Remount();
    } catch (...) {
        return false;
    }
    const std::string image = filesystem.MountPoint() + imageName;
    if (!Exists(image)) {
        return false;
    }
    EmptyUpdateDirectory("");
    Tools::Cp(image, updateDirectory + imageName);
    return true;
}

bool FirmwareUpdateManager::IsUpdateImageValid() {
    try {
        ExtractImage();
        return true;
    } catch (...) {
        return false;
    }
}

/**
 * Members of an earlier archive would complete a partial one and mix old and new firmware. A link
 * that an archive left under the archive's own name would redirect the next copy.
 */
void FirmwareUpdateManager::EmptyUpdateDirectory(const std::string& kept) const {
    // An archive can nest folders so deep that no path from the root reaches the innermost one:
    // folders move up instead of being descended into. Each moves once at most, so this ends.
    unsigned number = 0;
    for (bool moved = true; moved;) {
        moved = false;
        for (const std::string& name : ListFolder(updateDirectory).names) {
            moved = (name != kept && RemoveOneLevel(updateDirectory, name, number)) || moved;
        }
    }
}

void FirmwareUpdateManager::ExtractImage() {
    EmptyUpdateDirectory(imageName);
    Tools::Untar(updateDirectory + imageName, updateDirectory);
    if (!IsMember(updateDirectory + rootfs.member, updateDirectory) ||
        !IsMember(updateDirectory + fit.member, updateDirectory)) {
        throw int{ENOENT};
    }
    if (IsMember(updateDirectory + gaugeStreamMember, updateDirectory)) {
        try {
            Tools::Mkdir(flashStreamDirectory);
        } catch (const Error&) {
            // The copy then fails and is not reported, as on a full file system.
        }
        ReplaceGaugeStream(updateDirectory + gaugeStreamMember);
    }
}

void FirmwareUpdateManager::EraseFlash() {}

void FirmwareUpdateManager::WriteFlash() {
    const auto progress = [this](std::uint8_t percent) {
        observers.Notify(&FirmwareUpdateObserver::OnFirmwareUpdateInProgress, *this, percent);
    };
    progress(25);
    fit.Write(updateDirectory);
    progress(50);
    rootfs.Write(updateDirectory);
    progress(75);
}

void FirmwareUpdateManager::VerifyFlash() {}

void FirmwareUpdateManager::UpdateImageSelect() {
    const std::string other = OtherSlot(Tools::ImageSelect());
    if (other.empty()) {
        throw Error(EINVAL);
    }
    Tools::FwSetEnv("image_select", other);
    observers.Notify(&FirmwareUpdateObserver::OnFirmwareUpdateInProgress, *this, std::uint8_t{100});
}

} // namespace vantorel
