#pragma once

#include "vantorel/service/ConnectionObserver.h"
#include "vantorel/service/FirmwareUpdateObserver.h"
#include "vantorel/service/ObserverList.h"
#include "vantorel/service/Service.h"
#include "vantorel/update/FlashPartition.h"

#include <string>

namespace vantorel {

class Filesystem;

/** How far a firmware update has come. The numbers are printed in status lines. */
enum class FirmwareUpdateState {
    Idle = 0,       /**< watching the drive for an archive */
    FileFound = 1,  /**< an archive has been found and copied */
    FileValid = 2,  /**< it unpacked and holds what an update needs */
    Begin = 3,      /**< flash is about to be written */
    InProgress = 4, /**< flash is being written */
    Complete = 5,   /**< the new slot runs at the next boot; final */
    Failed = 6,     /**< the next boot is as before, unless an observer threw; final */
};

/**
 * Installs a firmware update that a USB host has copied onto the device's drive as "THERMAL.STR".
 *
 * The device has two slots, each a FIT image partition and a root file-system partition in flash.
 * The manager writes the slot that is not running, then points the boot-loader variable
 * "image_select" at it and sets the first-boot marker. It polls every 250 ms, one step a poll, and
 * starts itself when a USB host is attached. Observers are told on its thread.
 *
 * The archive is not signed: whoever can write the drive can replace the firmware.
 */
class VANTOREL_EXPORT FirmwareUpdateManager final : public ConnectionObserver, public Service {
public:
    /**
     * Determines the slots; without a running slot on the kernel's command line the manager is
     * disabled and never starts.
     * @param drive the device's side of the USB drive, borrowed for the life of the manager
     * @throws Error when the working directory cannot be made
     */
    explicit FirmwareUpdateManager(Filesystem& drive);
    ~FirmwareUpdateManager() override;

    /** Adds an observer; to be finished before a host can be attached. */
    void AddObserver(FirmwareUpdateObserver& observer) { observers.Add(observer); }

    void OnConnectionStateChanged(ConnectionState newState,
                                  ConnectionState oldState) noexcept override;
    void OnConnectionError(Error& error) override;

    /** One step. */
    void ServiceFunction() override;

    /**
     * Prints the requested state and, when it may follow the current one, enters it and tells the
     * observers. Idle and Failed may follow any state, the others only the one before them.
     */
    void TransitionToState(FirmwareUpdateState newState);

    /** Looks for the archive and copies it; false also when the drive cannot be read. */
    bool IsUpdateImagePresent();
    /** Whether the copied archive could be unpacked and is complete. */
    bool IsUpdateImageValid();
    /**
     * Unpacks the copied archive and passes a fuel-gauge stream in it on to the gauge.
     * @throws Error of the unpacking
     * @throws int 2 (ENOENT) when a member is missing or no regular file
     */
    void ExtractImage();
    /** Nothing: the flash tool erases. */
    void EraseFlash();
    /** Writes both partitions. @throws Error when a partition is missing or the tool fails */
    void WriteFlash();
    /** Nothing: the flash tool verifies. */
    void VerifyFlash();
    /**
     * Makes the boot loader choose the written slot.
     * @throws Error EINVAL when neither slot is running, or what the tool's start fails with
     * @throws std::out_of_range when the kernel was not told which slot it is in
     */
    void UpdateImageSelect();

private:
    void EmptyUpdateDirectory(const std::string& kept) const;

    Filesystem& filesystem;
    std::string updateDirectory;
    std::string imageName;
    bool disabled = false;
    FlashPartition fit;
    FlashPartition rootfs;
    FirmwareUpdateState state = FirmwareUpdateState::Idle;
    ObserverList<FirmwareUpdateObserver> observers;
};

} // namespace vantorel
