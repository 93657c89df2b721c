// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Suspends the device on the only port of bus 1 for some milliseconds, by requests to the hub: the
// kernel's USB host by itself suspends no device that it uses. Usage: suspend-port MILLISECONDS

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include <fcntl.h>
#include <linux/usb/ch9.h>
#include <linux/usbdevice_fs.h>
#include <sys/ioctl.h>

int main(int count, char** arguments) {
    constexpr std::uint16_t portSuspend = 2;
    constexpr std::uint8_t toPort = USB_TYPE_CLASS | USB_RECIP_OTHER;
    const std::chrono::milliseconds pause(count == 2 ? std::atoi(arguments[1]) : 0);
    const int hub = ::open("/dev/bus/usb/001/001", O_RDWR | O_CLOEXEC);
    for (const int request : {USB_REQ_SET_FEATURE, USB_REQ_CLEAR_FEATURE}) {
        usbdevfs_ctrltransfer transfer{
            toPort, static_cast<std::uint8_t>(request), portSuspend, 1, 0, 60'000, nullptr};
        if (::ioctl(hub, USBDEVFS_CONTROL, &transfer) < 0) {
            std::perror("suspend-port");
            return 1;
        }
        std::this_thread::sleep_for(pause);
    }
}
