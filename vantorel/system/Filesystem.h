// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Export.h"

#include <string>

namespace vantorel {

/**
 * One mounted file system whose lifetime is the object's: construction loads the modules that the
 * type needs, attaches an image file to a free loop device if requested, makes the mount point and
 * mounts; destruction unmounts and removes the mount point.
 *
 * A loop device stays bound, also after the destruction, so each object with an image uses up one
 * until the next boot. When a step of the construction fails, the earlier steps are not undone. A
 * failure in the destructor ends the process, since the mount would outlive its owner.
 * Thread-bound.
 */
class VANTOREL_EXPORT Filesystem {
public:
    /**
     * @param blockDevice what to mount, an image file when a loop device is used
     * @param directory mount point
     * @param fileSystemType for instance "vfat"
     * @param throughLoop whether to attach an image to a loop device first
     * @param mountReadOnly whether to mount read-only
     * @throws Error with the errno of the step that failed
     */
    Filesystem(std::string blockDevice, std::string directory, std::string fileSystemType,
               bool throughLoop, bool mountReadOnly);
    Filesystem(const Filesystem&) = delete;
    Filesystem& operator=(const Filesystem&) = delete;
    virtual ~Filesystem();

    /**
     * Unmounts and mounts again, so that changes made underneath the file system become visible,
     * such as a USB host's writes to the image.
     * @throws Error; when the second mount fails, the file system stays unmounted: every later call
     *         throws Error with EINVAL, and the destructor ends the process
     */
    void Remount();

    /** Returns the block device; the loop device when one is used. */
    std::string Device() const { return device; }
    /** Returns the mount point with a slash added. */
    std::string MountPoint() const { return mountPoint + "/"; }
    /** Returns the type given at construction. */
    std::string Type() const { return type; }

private:
    void LoadModules() const;
    void AttachLoopDevice();

    std::string device;
    std::string mountPoint;
    std::string type;
    bool useLoop;
    bool readOnly;
};

} // namespace vantorel
