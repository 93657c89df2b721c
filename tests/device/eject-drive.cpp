// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Ejects a USB drive as the host's file manager does: allows the removal of the medium, which
// opening the drive forbids, and stops the unit with an eject. Usage: eject-drive /dev/sda

#include <cstdio>

#include <fcntl.h>
#include <linux/cdrom.h>
#include <scsi/scsi_ioctl.h>
#include <sys/ioctl.h>

int main(int count, char** arguments) {
    const int drive = ::open(count == 2 ? arguments[1] : "", O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (::ioctl(drive, SCSI_IOCTL_DOORUNLOCK) < 0 || ::ioctl(drive, CDROMEJECT) < 0) {
        std::perror("eject-drive");
        return 1;
    }
}
