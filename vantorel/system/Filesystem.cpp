#include "vantorel/system/Filesystem.h"

#include "vantorel/service/Error.h"
#include "vantorel/service/UniqueFd.h"
#include "vantorel/service/private/Sys.h"
#include "vantorel/system/Tools.h"

#include <cerrno>
#include <cstdint>
#include <utility>

#include <fcntl.h>
#include <linux/loop.h>

namespace vantorel {
namespace {

UniqueFd OpenForWriting(const std::string& path) {
    UniqueFd opened(sys::Open(path.c_str(), O_RDWR | O_CLOEXEC, 0));
    if (!opened) {
        throw Error(errno);
    }
    return opened;
}

/** An ioctl whose argument is a number or nothing. */
int Control(const UniqueFd& fd, unsigned long request, int number = 0) {
    const int result =
        sys::Ioctl(fd.Get(), request, reinterpret_cast<void*>(static_cast<std::intptr_t>(number)));
    if (result < 0) {
        throw Error(errno);
    }
    return result;
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
        Tools::Modprobe("nls-cp437"); // the driver's default code page, not loaded by itself
        Tools::Modprobe("vfat");
    } else if (type == "jffs2") {
        Tools::Modprobe("jffs2");
    }
}

void Filesystem::AttachLoopDevice() {
    Tools::Modprobe("loop");
    // Closed in the reverse of this order; the binding outlives the descriptors.
    const UniqueFd image = OpenForWriting(device);
    const UniqueFd control = OpenForWriting("/dev/loop-control");
    device = "/dev/loop" + std::to_string(Control(control, LOOP_CTL_GET_FREE));
    const UniqueFd loop = OpenForWriting(device);
    Control(loop, LOOP_SET_FD, image.Get());
}

void Filesystem::Remount() {
    Tools::Umount(mountPoint);
    Tools::Mount(device, mountPoint, type, readOnly);
}

} // namespace vantorel
