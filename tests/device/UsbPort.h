// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "tests/support/kernel/Endpoint.h"
#include "vantorel/service/UniqueFd.h"

#include <array>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>

#include <fcntl.h>
#include <linux/usb/ch9.h>
#include <linux/usbdevice_fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace vantorel::test {

/**
 * The host's end of the virtual device's USB cable: bus N has one socket, connected to the
 * controller dummy_udc.N-1. Requests use the kernel's USB file system.
 */
class UsbPort {
public:
    explicit UsbPort(int busNumber = 1) : bus(std::to_string(busNumber)) {}

    static bool IsThere() { return std::filesystem::exists("/sys/class/udc/dummy_udc.0"); }

    void SetCable(bool plugged) {
        const std::string socket =
            "/sys/bus/usb/devices/usb" + bus + "/" + bus + "-0:1.0/usb" + bus + "-port1/disable";
        std::ofstream(socket) << (plugged ? '0' : '1') << std::flush;
    }

    /** Waits until the host has configured the device on the cable, and opens it. */
    void Open() {
        const std::string device = "/sys/bus/usb/devices/" + bus + "-1/";
        const auto number = [&](const char* name) {
            int value = 0;
            std::ifstream(device + name) >> value;
            return value;
        };
        for (int i = 0; i < 6000 && number("bConfigurationValue") == 0; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        std::array<char, 40> node{};
        std::snprintf(node.data(), node.size(), "/dev/bus/usb/%03d/%03d", number("busnum"),
                      number("devnum"));
        fd.Reset(::open(node.data(), O_RDWR | O_CLOEXEC));
        if (!fd) {
            throw std::runtime_error(std::string("no device at ") + node.data());
        }
    }

    /** Returns the number of bytes transferred, or -1 with the kernel's errno. */
    int Control(std::uint8_t type, std::uint8_t request, std::uint16_t value, std::uint8_t* data,
                std::size_t size) const {
        return Control(fd, type, request, value, 0, data, size);
    }

    /** Resets the device on the bus; the host configures it again. */
    void Reset() const {
        if (::ioctl(fd.Get(), USBDEVFS_RESET) != 0) {
            throw std::runtime_error(std::string("no reset: ") + std::strerror(errno));
        }
    }

    /**
     * Suspends the device for a while by requests to its hub: the kernel's host itself suspends no
     * device that it uses.
     */
    void Suspend(std::chrono::milliseconds duration) const {
        constexpr std::uint8_t toPort = USB_TYPE_CLASS | USB_RECIP_OTHER;
        constexpr std::uint16_t portSuspend = 2;
        const UniqueFd hub(::open(("/dev/bus/usb/00" + bus + "/001").c_str(), O_RDWR | O_CLOEXEC));
        const auto request = [&](std::uint8_t type, std::uint8_t number, std::uint16_t value,
                                 std::size_t size) {
            std::array<std::uint8_t, 4> status{};
            if (Control(hub, type, number, value, 1, status.data(), size) < 0) {
                throw std::runtime_error(std::string("the hub failed: ") + std::strerror(errno));
            }
        };
        request(toPort, USB_REQ_SET_FEATURE, portSuspend, 0);
        std::this_thread::sleep_for(duration);
        request(toPort, USB_REQ_CLEAR_FEATURE, portSuspend, 0);
        // This hub resumes for 20 ms, and then until its port's status is read.
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        request(USB_DIR_IN | toPort, USB_REQ_GET_STATUS, 0, 4);
    }

    /** Announces a vendor request of this type (0x40 sends, 0xc0 reads), and cancels it before its
     * data. */
    void Abandon(std::uint8_t type, std::uint8_t request, std::uint16_t length) const {
        Bytes packet(8U + length);
        packet[0] = type;
        packet[1] = request;
        packet[6] = static_cast<std::uint8_t>(length);
        usbdevfs_urb urb{};
        urb.type = USBDEVFS_URB_TYPE_CONTROL;
        urb.buffer = packet.data();
        urb.buffer_length = static_cast<int>(packet.size());
        if (::ioctl(fd.Get(), USBDEVFS_SUBMITURB, &urb) != 0) {
            throw std::runtime_error(std::string("not submitted: ") + std::strerror(errno));
        }
        // The bus delivers the announcement within a frame.
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        ::ioctl(fd.Get(), USBDEVFS_DISCARDURB, &urb);
        void* done = nullptr;
        if (::ioctl(fd.Get(), USBDEVFS_REAPURB, &done) != 0 || urb.status != -ENOENT) {
            throw std::runtime_error("the request was carried out all the same");
        }
    }

    /** Sends a vendor request; the Outcome is as of FakeEndpoint, and a time-out is a failure. */
    Outcome In(std::uint8_t request, std::size_t length) const {
        Bytes data(length, 0xee);
        const int count = Control(0xc0, request, 0, data.data(), data.size());
        if (count < 0) {
            return Refused(Stall::In);
        }
        data.resize(static_cast<std::size_t>(count));
        return {data, Stall::None};
    }
    Outcome Out(std::uint8_t request, Bytes data) const {
        const int count = Control(0x40, request, 0, data.data(), data.size());
        return count < 0 ? Refused(Stall::Out) : Outcome{};
    }

private:
    static int Control(const UniqueFd& device, std::uint8_t type, std::uint8_t request,
                       std::uint16_t value, std::uint16_t index, std::uint8_t* data,
                       std::size_t size) {
        usbdevfs_ctrltransfer transfer{
            type, request, value, index, static_cast<std::uint16_t>(size), 60'000, data};
        return ::ioctl(device.Get(), USBDEVFS_CONTROL, &transfer);
    }

    static Outcome Refused(Stall stall) {
        if (errno != EPIPE) {
            throw std::runtime_error(std::string("the bus failed: ") + std::strerror(errno));
        }
        return {{}, stall};
    }

    const std::string bus;
    UniqueFd fd;
};

} // namespace vantorel::test
