// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "app/Board.h"
#include "tests/support/kernel/Drm.h"
#include "tests/support/kernel/Endpoint.h"
#include "vantorel/devices/InputEventRecord.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <linux/gpio.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/stat.h>

namespace vantorel::test {

/**
 * Fakes the kernel's side of all hardware; other threads change it while the application runs.
 * Waits are shortened. Synchronisation here could hide a data race in the library, so the state
 * consists of relaxed atomics.
 */
class Machine {
public:
    Machine() {
        card.modes.front().hdisplay = board::screenWidth;
        card.modes.front().vdisplay = board::screenHeight;
        card.size = std::uint64_t{board::screenWidth} * board::screenHeight * 4;
        ScriptFiles();
        ScriptDevices();
        ScriptProcesses();
    }

    struct Value : std::atomic<int> {
        using std::atomic<int>::atomic;
        void operator=(int value) { store(value, std::memory_order_relaxed); }
        operator int() const { return load(std::memory_order_relaxed); }
    };

    void Key(int code, int value) const {
        const InputEventRecord event{0, 0, 1, static_cast<std::uint16_t>(code), value};
        for (const int keyboard : keyboards) {
            static_cast<void>(!::write(keyboard, &event, sizeof event));
        }
    }

    FakeEndpoint endpoint;
    Value charger, battery, configured;              // 0 or 1
    Value level, temperature;                        // returned by reads
    Value chargerError, temperatureError, portError; // 0 or the error of every read
    Value gaugeError, displayError;                  // 0 or the error of the next request
    Value gaugePolled, flips;                        // counted
    Value toolStatus;                                // of every program
    static constexpr const char* driveDirectory = "/tmp/mass_storage/lun0.fs/";
    std::string missing; // if not empty, paths that begin with it do not exist

private:
    enum Kind { File, Online, Status, Bus, Lines, Keys, Led, Card, Temperature, Port, Loop, Flash };

    Kind KindOf(int fd) const {
        const auto index = static_cast<std::size_t>(fd);
        return index < kinds.size() ? Kind{kinds[index].load(std::memory_order_relaxed)} : File;
    }

    static Kind KindOf(std::string_view path) {
        static const std::pair<std::string, Kind> table[] = {
            {std::string(board::charger) + "online", Online},
            {std::string(board::charger) + "status", Status},
            {board::fuelGaugeBus, Bus},
            {board::gpioChip, Lines},
            {board::buttons, Keys},
            {board::torch, Led},
            {board::display, Card},
            {board::boardTemperature, Temperature},
            {board::processorTemperature, Temperature},
            {"/sys/class/udc/", Port},
            {"/dev/loop", Loop},
            {"/dev/mtd", Flash}};
        for (const auto& [prefix, kind] : table) {
            if (path.starts_with(prefix)) {
                return kind;
            }
        }
        return File;
    }

    void ScriptFiles() {
        sys->Open = [this](const char* path, int flags, unsigned mode) {
            if (std::string_view(path) == "/dev/subi/ep0") {
                return FakeEndpoint::endpointFd;
            }
            if (!missing.empty() && std::string_view(path).starts_with(missing)) {
                return FailWith(ENOENT);
            }
            const Kind kind = KindOf(path);
            std::array<int, 2> ends{};
            if (kind == Keys) {
                static_cast<void>(!::pipe2(ends.data(), O_CLOEXEC));
                keyboards.push_back(ends[1]);
            } else {
                ends[0] = ::open(kind == File ? path : "/dev/null", flags, mode);
            }
            if (ends[0] >= 0) {
                kinds.at(static_cast<std::size_t>(ends[0])).store(kind, std::memory_order_relaxed);
            }
            return ends[0];
        };
        sys->Close = [](int fd) { return fd >= FakeEndpoint::endpointFd ? 0 : ::close(fd); };
        sys->Eventfd = [](unsigned, int) { return FakeEndpoint::wakeFd; };
        sys->Mkdir = [](const char* path, mode_t) {
            return std::string_view(path).starts_with("/tmp/") ? ::mkdir(path, 0700) : 0;
        };
        sys->Rmdir = [](const char*) { return 0; };
        sys->Unlink = [](const char*) { return 0; };
        sys->Mount = [](auto...) { return 0; };
        sys->Umount = [](const char*) { return 0; };
        sys->Nanosleep = [](const timespec* request, timespec*) {
            const auto time =
                std::chrono::seconds(request->tv_sec) + std::chrono::nanoseconds(request->tv_nsec);
            return std::this_thread::sleep_for(time / 50), 0;
        };
    }

    void ScriptDevices() {
        sys->Read = [this](int fd, void* data, std::size_t size) {
            switch (KindOf(fd)) {
            case Online:
                return Text(chargerError, charger != 0 ? "1\n" : "0\n", data, size);
            case Status:
                return Text(chargerError, "Charging\n", data, size);
            case Led:
                return Text(0, "0\n", data, size);
            case Temperature:
                return Text(temperatureError, std::to_string(temperature) + "\n", data, size);
            case Port:
                return Text(portError, configured != 0 ? "configured\n" : "suspended\n", data,
                            size);
            case Card:
                return static_cast<ssize_t>(size);
            default:
                return fd == FakeEndpoint::endpointFd ? endpoint.sys->Read(fd, data, size)
                                                      : ::read(fd, data, size);
            }
        };
        sys->Write = [this](int fd, const void* data, std::size_t size) {
            return fd >= FakeEndpoint::endpointFd ? endpoint.sys->Write(fd, data, size)
                                                  : ::write(fd, data, size);
        };
        sys->Poll = [this](pollfd* waits, nfds_t count, int timeout) {
            if (waits->fd == FakeEndpoint::endpointFd) {
                return endpoint.sys->Poll(waits, count, timeout);
            }
            if (KindOf(waits->fd) == Card) {
                std::this_thread::sleep_for(std::chrono::milliseconds(3));
                ++flips;
                return waits->revents = POLLIN, 1;
            }
            return ::poll(waits, count, timeout);
        };
        sys->Ioctl = [this](int fd, unsigned long request, void* argument) {
            switch (KindOf(fd)) {
            case Bus:
                return request == I2C_RDWR ? Transfer(*static_cast<i2c_rdwr_ioctl_data*>(argument))
                                           : 0;
            case Lines:
                static_cast<gpio_v2_line_request*>(argument)->fd = ::open("/dev/null", O_RDWR);
                return 0;
            case Card: {
                const int error = displayError.exchange(0);
                return error != 0 ? FailWith(error) : cardSys->Ioctl(fd, request, argument);
            }
            default:
                return 0;
            }
        };
        sys->Mmap = cardSys->Mmap;
        sys->Munmap = cardSys->Munmap;
        sys->Madvise = [](auto...) { return 0; };
        sys->Klogctl = [](int, char*, int) { return 4; };
    }

    void ScriptProcesses() {
        sys->Fork = [] { return 4242; };
        sys->Spawn = [](pid_t* child, auto, auto, auto, char* const* arguments, auto) {
            *child = 4242;
            if (arguments[1] != nullptr && std::string_view(arguments[1]) == "tar") {
                for (const char* member : {"/tmp/update/fit", "/tmp/update/rootfs"}) {
                    ::close(::open(member, O_WRONLY | O_CREAT, 0600));
                }
            }
            return 0;
        };
        sys->Waitpid = [this](pid_t child, int* status, int) {
            if (status != nullptr) {
                *status = toolStatus << 8;
            }
            return child;
        };
        sys->Kill = [](pid_t, int) { return 0; };
        sys->Sync = [] {};
        sys->Reboot = [](int) { return 0; };
    }

    static ssize_t Text(int error, const std::string& text, void* data, std::size_t size) {
        if (error != 0) {
            return FailWith(error);
        }
        std::memcpy(data, text.data(), std::min(size, text.size()));
        return static_cast<ssize_t>(std::min(size, text.size()));
    }

    int Transfer(i2c_rdwr_ioctl_data& transfer) {
        const std::uint8_t command = transfer.msgs[0].buf[0];
        gaugePolled.fetch_add(command == 0x20 ? 1 : 0);
        if (const int error = gaugeError.exchange(0); error != 0) {
            return FailWith(error);
        }
        if (transfer.nmsgs == 2) {
            const int byte = command == 0x0a ? battery * 8 : int{level};
            std::memset(transfer.msgs[1].buf, byte, transfer.msgs[1].len);
        }
        return static_cast<int>(transfer.nmsgs);
    }

    std::array<std::atomic<Kind>, 256> kinds{};
    std::vector<int> keyboards;
    ScopedSys cardSys;
    FakeCard card{cardSys};
    ScopedSys sys; // the last one created applies
};

} // namespace vantorel::test
