// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/system/Filesystem.h"

#include "vantorel/service/UniqueFd.h"
#include "vantorel/service/private/OpenFile.h"
#include "vantorel/service/private/OrThrow.h"
#include "vantorel/service/private/Sys.h"
#include "vantorel/system/Tools.h"

#include <cstdint>
#include <utility>

#include <fcntl.h>
#include <linux/loop.h>

namespace vantorel {
namespace {

/** Calls an ioctl whose argument is a number or unused. */
int Control(const UniqueFd& fd, unsigned long request, int number = 0) {
    return OrThrow(
        sys::Ioctl(fd.Get(), request, reinterpret_cast<void*>(static_cast<std::intptr_t>(number))));
}

} // namespace

Filesystem::Filesystem(std::string blockDevice, std::string directory, std::string fileSystemType,
                       bool throughLoop, bool mountReadOnly)
    : device(std::move(blockDevice)),
      mountPoint(std::move(directory)),
      type(std::move(fileSystemType)),
      useLoop(throughLoop),
      readOnly(mountReadOnly) {
    LoadModules();
    if (useLoop) {
        AttachLoopDevice();
    }
    Tools::Mkdir(mountPoint);
    Tools::Mount(device, mountPoint, type, readOnly);
}

Filesystem::~Filesystem() {
    Tools::Umount(mountPoint);
    Tools::Rmdir(mountPoint);
}

void Filesystem::LoadModules() const {
    if (type == "vfat") {
        Tools::Modprobe("nls-cp437"); // the driver's default code page, a separate module
        Tools::Modprobe("vfat");
    } else if (type == "jffs2") {
        Tools::Modprobe("jffs2");
    }
}

void Filesystem::AttachLoopDevice() {
    Tools::Modprobe("loop");
    // The loop device stays bound when the descriptors are closed.
    const UniqueFd image = OpenFile(device, O_RDWR);
    const UniqueFd control = OpenFile("/dev/loop-control", O_RDWR);
    device = "/dev/loop" + std::to_string(Control(control, LOOP_CTL_GET_FREE));
    const UniqueFd loop = OpenFile(device, O_RDWR);
    Control(loop, LOOP_SET_FD, image.Get());
}

void Filesystem::Remount() {
    Tools::Umount(mountPoint);
    Tools::Mount(device, mountPoint, type, readOnly);
}

} // namespace vantorel
