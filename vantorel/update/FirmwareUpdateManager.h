// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/ConnectionObserver.h"
#include "vantorel/service/FirmwareUpdateObserver.h"
#include "vantorel/service/ObserverList.h"
#include "vantorel/service/Service.h"
#include "vantorel/update/FlashPartition.h"

#include <string>

namespace vantorel {

class Filesystem;

/** The state of a firmware update. Status lines print the numbers. */
enum class FirmwareUpdateState {
    Idle = 0,       /**< polling the drive for an archive */
    FileFound = 1,  /**< an archive has been found and copied */
    FileValid = 2,  /**< it is unpacked and has the members that an update needs */
    Begin = 3,      /**< flash is about to be written */
    InProgress = 4, /**< flash is being written */
    Complete = 5,   /**< the next boot runs the new slot, unless its selection was killed; final */
    Failed = 6,     /**< the next boot runs the same slot, unless an observer threw; final */
};

/**
 * Installs a firmware update that a USB host has copied onto the device's drive as "THERMAL.STR".
 *
 * The device has two slots, each a FIT image partition and a root file-system partition in flash.
 * The manager writes the slot that is not running, then sets the boot-loader variable
 * "image_select" to it and sets the first-boot marker. It polls every 250 ms, makes one step per
 * poll, and starts itself when a USB host is attached. Observers are notified on its thread.
 * Thread-bound.
 *
 * The archive is not signed: a host that can write the drive can replace the firmware.
 */
class VANTOREL_EXPORT FirmwareUpdateManager final : public ConnectionObserver, public Service {
public:
    /**
     * Creates the working directory "/tmp/update/" and reads the running slot from the kernel's
     * command line. If that names no slot, the manager is disabled: it does not start itself, and
     * fails before it writes to flash when a caller makes its steps.
     * @param drive the device's side of the USB drive, borrowed for the life of the manager
     * @throws Error with the errno of mkdir() when it fails
     */
    explicit FirmwareUpdateManager(Filesystem& drive);
    ~FirmwareUpdateManager() override;

    /** Adds an observer, borrowed. Not locked: add all before a host can be attached. */
    void AddObserver(FirmwareUpdateObserver& observer) { observers.Add(observer); }

    /**
     * Starts polling when a host is attached, unless the manager is disabled. A thread that cannot
     * be created ends the process.
     */
    void OnConnectionStateChanged(ConnectionState newState,
                                  ConnectionState oldState) noexcept override;
    /** Does nothing. */
    void OnConnectionError(Error& error) override;

    /** Makes one step. */
    void ServiceFunction() override;

    /**
     * Prints the requested state. When it may follow the current one, enters it and notifies the
     * observers. Idle and Failed may follow any state, each other state only the one before it.
     */
    void TransitionToState(FirmwareUpdateState newState);

    /**
     * Mounts the drive again and copies the archive from it; false when there is none or when the
     * drive cannot be mounted again. After one failed mount it stays unmounted. While a process of
     * the device has a file or folder of it open, it cannot be unmounted. Failures are not
     * reported.
     */
    bool IsUpdateImagePresent();
    /** Whether ExtractImage() succeeds. */
    bool IsUpdateImageValid();
    /**
     * Unpacks the copied archive. A tar that a signal ends counts as one that has unpacked it, see
     * Tools::Untar(): the last member may then be incomplete. A fuel-gauge stream in the archive
     * replaces the one in "/tmp/var/update/bqfs", which is played at the next start on battery. A
     * failed copy of the stream is not reported; no stream waits then, neither the old one nor a
     * part of the new one.
     * @throws Error with the wait status of tar when it fails, or with the errno of a failed fork,
     *         wait or listing
     * @throws int 2 (ENOENT) when a member is missing, is not a regular file, or is a hard link to
     *         a file outside
     */
    void ExtractImage();
    /** Does nothing: the flash tool erases. */
    void EraseFlash();
    /** Writes both partitions. @throws Error when a partition is missing or the tool fails */
    void WriteFlash();
    /** Does nothing: the flash tool verifies. */
    void VerifyFlash();
    /**
     * Makes the boot loader choose the written slot.
     * @throws Error EINVAL when the command line names neither slot, or as Tools::FwSetEnv()
     * @throws std::out_of_range when the command line has no "image_select"
     */
    void UpdateImageSelect();

private:
    void EmptyUpdateDirectory(const std::string& kept) const;

    Filesystem& filesystem;
    std::string updateDirectory;
    std::string imageName;
    bool disabled = false;
    FlashPartition fit{"fit", {}};
    FlashPartition rootfs{"rootfs", {}};
    FirmwareUpdateState state = FirmwareUpdateState::Idle;
    ObserverList<FirmwareUpdateObserver> observers;
};

} // namespace vantorel
