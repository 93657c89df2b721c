#include "vantorel/update/FirmwareUpdateManager.h"

#include "vantorel/fuelgauge/private/FlashStreamFile.h"
#include "vantorel/service/Error.h"
#include "vantorel/service/private/StatusLine.h"
#include "vantorel/service/private/Sys.h"
#include "vantorel/system/Filesystem.h"
#include "vantorel/system/Firstboot.h"
#include "vantorel/system/Tools.h"

#include <cerrno>
#include <exception>
#include <filesystem>
#include <system_error>

#include <unistd.h>

namespace vantorel {
namespace {

constexpr std::chrono::milliseconds pollInterval{250};
constexpr const char* gaugeStreamMember = "bqfs";

bool Exists(const std::string& path) {
    return sys::Access(path.c_str(), F_OK) == 0;
}

/** A link or a directory by the name of a member would be read through to something else. */
bool IsRegularFile(const std::string& path) {
    std::error_code ignored; // nothing is there, then
    return std::filesystem::is_regular_file(std::filesystem::symlink_status(path, ignored));
}

/**
 * Copies so that the destination is there as a whole or not at all, even after a power cut. A part
 * of a gauge stream would pass for a stream that ends early, and leave the gauge without its
 * firmware.
 */
void CopyWhole(const std::string& source, const std::string& destination) {
    const std::string part = destination + ".part";
    Tools::Cp(source, part);
    sys::Sync();
    std::error_code ignored; // silent on a full disk, as every copy is
    if (std::filesystem::file_size(part, ignored) == std::filesystem::file_size(source, ignored)) {
        std::filesystem::rename(part, destination, ignored);
    } else {
        std::filesystem::remove(part, ignored);
    }
}

/** The slot that runs, or nothing when the boot loader did not say. */
std::string RunningSlot() {
    try {
        return Tools::ImageSelect();
    } catch (const std::exception&) {
        return "";
    }
}

/**
 * Becomes another error for every observer, for each may change the one that it is given. Always
 * the same value: products tell their users by it that an update has failed, and nothing more.
 */
class FreshError {
public:
    operator Error&() { return error = Error(EBADE); }

private:
    Error error{EBADE};
};

} // namespace

FirmwareUpdateManager::FirmwareUpdateManager(Filesystem& drive)
    : Service(pollInterval),
      filesystem(drive),
      updateDirectory("/tmp/update/"),
      imageName("THERMAL.STR") {
    Tools::Mkdir(updateDirectory);
    const std::string slot = RunningSlot();
    PrintStatus("IMAGE_SELECT: ", slot);
    if (slot == "0" || slot == "1") {
        const std::string other = slot == "0" ? "1" : "0";
        fit = {"fit", "FIT_" + other};
        rootfs = {"rootfs", "rootfs_" + other};
    } else {
        disabled = true;
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
        observers.Notify(&FirmwareUpdateObserver::OnFirmwareUpdateError, *this, FreshError{});
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
            // A bad archive is no error: the host may still be copying it, so the next poll looks
            // again.
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
            sys::Sync(); // whoever reads "complete" pulls the cable, and with it the power
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
        // Or the kernel goes on showing the drive as it was before the host wrote.
        filesystem.Remount();
    } catch (const Error&) {
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
 * Members left by an earlier archive would complete this one: old and new firmware mixed. A link by
 * the name of the archive would be written through by the next copy, to wherever it points.
 */
void FirmwareUpdateManager::EmptyUpdateDirectory(const std::string& kept) const {
    std::error_code ignored; // what cannot be removed fails the unpacking
    std::filesystem::directory_iterator entries(updateDirectory, ignored);
    for (; entries != end(entries); entries.increment(ignored)) {
        if (entries->path().filename() != kept) {
            std::filesystem::remove_all(entries->path(), ignored);
        }
    }
}

void FirmwareUpdateManager::ExtractImage() {
    EmptyUpdateDirectory(imageName);
    Tools::Untar(updateDirectory + imageName, updateDirectory);
    if (!IsRegularFile(updateDirectory + rootfs.member) ||
        !IsRegularFile(updateDirectory + fit.member)) {
        throw int{ENOENT};
    }
    if (IsRegularFile(updateDirectory + gaugeStreamMember)) {
        try {
            Tools::Mkdir(flashStreamDirectory);
        } catch (const Error&) {
            // The copy then fails as silently as it does on a full disk.
        }
        CopyWhole(updateDirectory + gaugeStreamMember, flashStreamFile);
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
    const std::string slot = Tools::ImageSelect();
    if (slot == "0") {
        Tools::FwSetEnv("image_select", "1");
    } else if (slot == "1") {
        Tools::FwSetEnv("image_select", "0");
    } else {
        throw Error(EINVAL);
    }
    observers.Notify(&FirmwareUpdateObserver::OnFirmwareUpdateInProgress, *this, std::uint8_t{100});
}

} // namespace vantorel
