/**
 * The round trip of a control request on the USB port: the vendor function's status request beside
 * the shortest FunctionFS responder there can be, each on a controller of its own, in turns.
 */
#include "tests/device/UsbPort.h"
#include "vantorel/camera/Camera.h"
#include "vantorel/usb/USB.h"
#include "vantorel/usb/USBGadgetSubi.h"
#include "vantorel/usb/private/SubiDescriptors.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <linux/usb/functionfs.h>
#include <sys/mount.h>
#include <unistd.h>

using namespace vantorel;

namespace {

constexpr int rounds = 20; // of each kind, in turns, so that both meet the same machine
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

/** Answers every request with four zeros and does nothing else. */
[[noreturn]] void Respond(int endpoint) {
    usb_functionfs_event event{};
    const std::uint32_t status = 0;
    while (::read(endpoint, &event, sizeof event) == ssize_t{sizeof event}) {
        if (event.type == FUNCTIONFS_SETUP &&
            ::write(endpoint, &status, sizeof status) != ssize_t{sizeof status}) {
            break;
        }
    }
    std::_Exit(1);
}

/** A gadget with the descriptors of the vendor function and the bare responder behind it. */
void BringUpBare() {
    const std::string gadget = "/config/usb_gadget/bare/";
    std::filesystem::create_directory(gadget);
    Write(gadget + "idVendor", "0x1209");
    Write(gadget + "idProduct", "0x21");
    std::filesystem::create_directory(gadget + "configs/c.1");
    std::filesystem::create_directory(gadget + "functions/ffs.bare");
    std::filesystem::create_directory("/dev/bare");
    Need(::mount("bare", "/dev/bare", "functionfs", 0, nullptr) == 0, "mount");
    const int endpoint = ::open("/dev/bare/ep0", O_RDWR);
    for (const auto& blob : {std::vector(subi::descriptors.begin(), subi::descriptors.end()),
                             std::vector(subi::strings.begin(), subi::strings.end())}) {
        Need(::write(endpoint, blob.data(), blob.size()) > 0, "descriptors");
    }
    std::filesystem::create_symlink(gadget + "functions/ffs.bare", gadget + "configs/c.1/ffs.bare");
    std::thread(Respond, endpoint).detach();
    Write(gadget + "UDC", "dummy_udc.1");
}

/** The microseconds of each request. */
std::vector<double> Measure(const test::UsbPort& port) {
    std::vector<double> times;
    for (int i = 0; i < requestsOfARound; ++i) {
        std::uint32_t status = 1;
        const auto begin = std::chrono::steady_clock::now();
        const int count =
            port.Control(0xc0, 53, 0, reinterpret_cast<std::uint8_t*>(&status), sizeof status);
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

/** Of each round: the median; the spread is that of the medians. */
void Print(const char* name, std::vector<double> medians, const std::vector<double>& tails) {
    std::ranges::sort(medians);
    std::printf("%-8s median of a round %.0f us (%.0f to %.0f over %d rounds of %d), 90 %% within "
                "%.0f us\n",
                name, Median(medians), medians.front(), medians.back(), rounds, requestsOfARound,
                Median(tails));
}

} // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): a failed measurement may end as it likes
int main() {
    // Removing it fails for what it depends on, which stays.
    Need(std::system("modprobe -r dummy_hcd; modprobe dummy_hcd num=2") == 0, "modprobe");
    BringUpBare();
    test::UsbPort barePort(2);
    barePort.Open();

    Camera camera(nullptr); // one that knows nothing of itself
    USB usb("usb", "dummy_udc.0");
    USBGadgetSubi control("control", "dummy_udc.0");
    usb.OnCameraConnect(camera);
    control.OnCameraConnect(camera);
    usb.AddGadget(control);
    usb.BindGadgets();
    test::UsbPort port(1);
    port.Open();

    std::vector<double> bare, bareTails, library, libraryTails, ratios;
    for (int round = 0; round < rounds; ++round) {
        const auto first = Measure(barePort);
        const auto second = Measure(port);
        bare.push_back(first[first.size() / 2]);
        bareTails.push_back(first[first.size() * 9 / 10]);
        library.push_back(second[second.size() / 2]);
        libraryTails.push_back(second[second.size() * 9 / 10]);
        ratios.push_back(library.back() / bare.back());
    }
    Print("bare", bare, bareTails);
    Print("library", library, libraryTails);
    std::printf("library / bare: %.3f (median of %d rounds)\n", Median(ratios), rounds);
    std::fflush(stdout);
    std::_Exit(0); // the bare responder cannot be told to stop, and holds its controller
}
