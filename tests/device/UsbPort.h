#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>

#include <fcntl.h>
#include <linux/usbdevice_fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace vantorel::test {

/**
 * The host's end of the virtual device's USB cable: bus N has one socket, and the controller
 * dummy_udc.N-1 is behind it. Requests go through the kernel's USB file system.
 */
class UsbPort {
public:
    explicit UsbPort(int busNumber = 1) : bus(std::to_string(busNumber)) {}
    ~UsbPort() {
        if (fd >= 0) {
            ::close(fd);
        }
    }
    UsbPort(const UsbPort&) = delete;
    UsbPort& operator=(const UsbPort&) = delete;

    /** Waits until the host has configured what is on the cable, and opens it. */
    void Open() {
        const std::string device = "/sys/bus/usb/devices/" + bus + "-1/";
        const auto number = [&](const char* name) {
            int value = 0;
            std::ifstream(device + name) >> value;
            return value;
        };
        for (int i = 0; i < 200 && number("bConfigurationValue") == 0; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        std::array<char, 40> node{};
        std::snprintf(node.data(), node.size(), "/dev/bus/usb/%03d/%03d", number("busnum"),
                      number("devnum"));
        fd = ::open(node.data(), O_RDWR | O_CLOEXEC);
        if (fd < 0) {
            throw std::runtime_error(std::string("no device at ") + node.data());
        }
    }

    /** The bytes that came or went; -1 and errno as the kernel has it. */
    int Control(std::uint8_t type, std::uint8_t request, std::uint16_t value, std::uint8_t* data,
                std::size_t size) const {
        usbdevfs_ctrltransfer transfer{type, request, value, 0, static_cast<std::uint16_t>(size),
                                       5000, data};
        return ::ioctl(fd, USBDEVFS_CONTROL, &transfer);
    }

private:
    const std::string bus;
    int fd = -1;
};

} // namespace vantorel::test
