// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/usb/USBGadget.h"

#include <memory>
#include <string>

namespace vantorel {

class Filesystem;

/**
 * A small USB disk: a FAT image in "/tmp/mass_storage/lun0", which stays mounted on the device's
 * side at "/tmp/mass_storage/lun0.fs". Every construction formats the image anew; it then contains
 * only the licence text. Whoever restarts a process that was killed must first remove its mount:
 * otherwise the licence text goes there, so the new disk is empty. If the old mount is writable, it
 * also writes what it has kept in memory over the new file system, which is then damaged.
 *
 * Either the host or the device may write the disk, never both. With hostReadOnly false, the host
 * writes and the device's mount is read-only; true reverses this. Data that the host wrote appears
 * on the device's side after Storage().Remount().
 *
 * Thread-bound: construct it on the application's thread; the other operations run on the thread
 * that composes the gadget. A failure in OnAdd() or OnRemove() ends the process.
 */
class VANTOREL_EXPORT USBGadgetMassStorage final : public USBGadget {
public:
    /**
     * @param gadgetName name of this object
     * @param controller USB device controller
     * @param volumeLabel label of the FAT volume and of the disk, at most 11 characters
     * @param size bytes of the image
     * @param hostReadOnly whether the host sees a read-only disk
     * @throws Error when the image cannot be created or mounted. A formatting tool that fails is
     *         not reported: an image of an earlier run keeps its content. Without
     *         "/etc/kiro/LICENSE.TXT" the licence text is empty.
     */
    USBGadgetMassStorage(std::string gadgetName, std::string controller, std::string volumeLabel,
                         unsigned int size, bool hostReadOnly);
    /** Unmounts the device's side; the image stays. */
    ~USBGadgetMassStorage() override;

    /** The device's side of the disk; lives as long as this object. */
    Filesystem& Storage() { return *storage; }

    void OnAdd() noexcept override;
    void OnRemove() noexcept override;
    void OnBind() noexcept override;
    void OnUnbind() noexcept override;

private:
    void MakeImage(unsigned int size) const;

    bool readOnly;
    std::string backingFile;
    std::string label;
    std::unique_ptr<Filesystem> storage;
};

} // namespace vantorel
