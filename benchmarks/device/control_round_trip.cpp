// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
/**
 * The round trip of a control request on the USB port: the status request of the vendor function
 * and of two bare FunctionFS responders, each on its own controller, measured alternately. "bare"
 * is the shortest responder: it blocks in its read, so an unbind of its port hangs. "polling" is
 * the shortest one that can be unbound, and thus the library's baseline.
 */
#include "tests/device/UsbPort.h"
#include "vantorel/camera/Camera.h"
#include "vantorel/usb/USB.h"
#include "vantorel/usb/USBGadgetSubi.h"
#include "vantorel/usb/private/SubiDescriptors.h"
#include "vantorel/usb/private/SubiRequests.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <linux/usb/functionfs.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/mount.h>
#include <unistd.h>

using namespace vantorel;

namespace {

constexpr int rounds = 20; // of each kind, alternating under the same load
constexpr int requestsOfARound = 1000;

void Need(bool condition, const char* what) {
    if (!condition) {
        std::perror(what);
        std::_Exit(1);
    }
}

void Write(const std::string& path, const std::string& value) {
    std::ofstream file(path);
    Need(static_cast<bool>(file << value << std::flush), path.c_str());
}

/**
 * Replies to every request with four zeros. A responder that can be unbound waits in poll(): the
 * kernel does not unbind a port while a thread is blocked in the read.
 */
[[noreturn]] void Respond(int endpoint, bool canBeUnbound) {
    usb_functionfs_event event{};
    const std::uint32_t status = 0;
    pollfd waits[] = {{endpoint, POLLIN, 0}, {::eventfd(0, EFD_CLOEXEC), POLLIN, 0}};
    while ((!canBeUnbound || ::poll(waits, 2, -1) > 0) &&
           ::read(endpoint, &event, sizeof event) == ssize_t{sizeof event}) {
        if (event.type == FUNCTIONFS_SETUP &&
            ::write(endpoint, &status, sizeof status) != ssize_t{sizeof status}) {
            break;
        }
    }
    std::_Exit(1);
}

/** Creates a gadget with the descriptors of the vendor function and starts a bare responder. */
void BringUpBare(const std::string& name, const std::string& controller, bool canBeUnbound) {
    const std::string gadget = "/config/usb_gadget/" + name + "/";
    const std::string mount = "/dev/" + name;
    std::filesystem::create_directory(gadget);
    Write(gadget + "idVendor", "0x1209");
    Write(gadget + "idProduct", "0x21");
    std::filesystem::create_directory(gadget + "configs/c.1");
    std::filesystem::create_directory(gadget + "functions/ffs." + name);
    std::filesystem::create_directory(mount);
    Need(::mount(name.c_str(), mount.c_str(), "functionfs", 0, nullptr) == 0, "mount");
    const int endpoint = ::open((mount + "/ep0").c_str(), O_RDWR);
    for (const auto& blob : {std::vector(subi::descriptors.begin(), subi::descriptors.end()),
                             std::vector(subi::strings.begin(), subi::strings.end())}) {
        Need(::write(endpoint, blob.data(), blob.size()) > 0, "descriptors");
    }
    std::filesystem::create_symlink(gadget + "functions/ffs." + name,
                                    gadget + "configs/c.1/ffs." + name);
    std::thread(Respond, endpoint, canBeUnbound).detach();
    Write(gadget + "UDC", controller);
}

/** Returns the microseconds of each request. */
std::vector<double> Measure(const test::UsbPort& port) {
    std::vector<double> times;
    for (int i = 0; i < requestsOfARound; ++i) {
        std::uint32_t status = 1;
        const auto begin = std::chrono::steady_clock::now();
        const int count = port.Control(0xc0, subi::request::status.number, 0,
                                       reinterpret_cast<std::uint8_t*>(&status), sizeof status);
        const std::chrono::duration<double, std::micro> time =
            std::chrono::steady_clock::now() - begin;
        Need(count == sizeof status && status == 0, "request");
        times.push_back(time.count());
    }
    std::ranges::sort(times);
    return times;
}

double Median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

/** A responder and the times of its rounds. */
struct Candidate {
    void Round() {
        const auto times = Measure(port);
        medians.push_back(times[times.size() / 2]);
        tails.push_back(times[times.size() * 9 / 10]);
    }

    /** Prints the spread of the rounds' medians. */
    void Print() const {
        const auto [least, most] = std::ranges::minmax(medians);
        std::printf("%-8s median of a round %.0f us (%.0f to %.0f over %d rounds of %d), 90 %% "
                    "within %.0f us\n",
                    name, Median(medians), least, most, rounds, requestsOfARound, Median(tails));
    }

    void PrintRatioTo(const Candidate& other) const {
        std::vector<double> ratios;
        std::ranges::transform(medians, other.medians, std::back_inserter(ratios), std::divides());
        std::printf("%s / %s: %.3f (median of %d rounds)\n", name, other.name, Median(ratios),
                    rounds);
    }

    const char* name;
    test::UsbPort port;
    std::vector<double> medians{};
    std::vector<double> tails{};
};

} // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): a failed measurement may terminate
int main() {
    // modprobe -r cannot remove the module's dependencies, which stay loaded.
    Need(std::system("modprobe -r dummy_hcd; modprobe dummy_hcd num=3") == 0, "modprobe");
    BringUpBare("bare", "dummy_udc.1", false);
    BringUpBare("polling", "dummy_udc.2", true);

    Camera camera(nullptr); // without an identity
    USB usb("usb", "dummy_udc.0");
    USBGadgetSubi control("control", "dummy_udc.0");
    usb.OnCameraConnect(camera);
    control.OnCameraConnect(camera);
    usb.AddGadget(control);
    usb.BindGadgets();

    Candidate bare{"bare", test::UsbPort(2)};
    Candidate polling{"polling", test::UsbPort(3)};
    Candidate library{"library", test::UsbPort(1)};
    for (Candidate* candidate : {&bare, &polling, &library}) {
        candidate->port.Open();
    }
    for (int round = 0; round < rounds; ++round) {
        for (Candidate* candidate : {&bare, &polling, &library}) {
            candidate->Round();
        }
    }
    for (const Candidate* candidate : {&bare, &polling, &library}) {
        candidate->Print();
    }
    library.PrintRatioTo(bare);
    library.PrintRatioTo(polling);
    std::fflush(stdout);
    std::_Exit(0); // the bare responders cannot be stopped and keep their controllers
}
