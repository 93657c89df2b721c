// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Sends arbitrary events and host data to the vendor control function. It uses nothing of the
// machine and runs no thread: endpoint zero, the kernel log and the camera's frames are fakes.
//
// An input is the camera's chip text, then steps: a byte that selects the action (see
// World::Step()) and its data. tests/usb checks the reply to each request; this fuzzer checks that
// a reply contains nothing that is not meant for the host.

#include "tests/fuzz/Demand.h"
#include "tests/fuzz/Frame.h"
#include "tests/support/kernel/Endpoint.h"
#include "vantorel/camera/Camera.h"
#include "vantorel/service/private/LittleEndian.h"
#include "vantorel/usb/USBGadgetSubi.h"

#include <kirocamera_sim.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

using namespace vantorel;
using test::Bytes;
using test::Demand;

// Adding the function to a port would start its thread. Only an explicit instantiation may name
// private members.
auto& IdentityOf(USBGadgetSubi& subi);
auto& EndpointOf(USBGadgetSubi& subi);
template <auto Identity, auto Endpoint>
struct Inside {
    friend auto& IdentityOf(USBGadgetSubi& subi) { return subi.*Identity; }
    friend auto& EndpointOf(USBGadgetSubi& subi) { return subi.*Endpoint; }
};
template struct Inside<&USBGadgetSubi::identity, &USBGadgetSubi::endpointZero>;

const auto settings = [] {
    std::array<std::uint8_t, KIROCAMERA_FACTORY_SETTINGS_SIZE> bytes{};
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        bytes[at] = KIROCAMERA_SIM_FACTORY_BYTE(at);
    }
    return bytes;
}();

template <typename Identity>
void Connect(SharedSlot<const Identity>& slot, const Bytes& chip) {
    auto identity = std::make_shared<Identity>();
    std::ranges::copy(chip, identity->chipId.begin());
    identity->factorySettings = settings;
    slot.Store(std::move(identity));
}

/** The unread rest of an input; returns zeros beyond its end. */
struct Input {
    std::uint8_t Byte() {
        const std::uint8_t byte = left.empty() ? std::uint8_t{0} : left.front();
        left = left.subspan(left.empty() ? 0 : 1);
        return byte;
    }
    Bytes Some(std::size_t size) {
        Bytes bytes(size);
        std::ranges::generate(bytes, [this] { return Byte(); });
        return bytes;
    }
    std::span<const std::uint8_t> left;
};

/** The machine around the function, with checks of its replies to a host. */
class World {
public:
    explicit World(const Bytes& chip) {
        sys->Eventfd = [](unsigned, int) { return wakeFd; };
        sys->Close = [](int) { return 0; };
        sys->Poll = [](pollfd* waits, nfds_t count, int timeout) {
            Demand(count == 2 && timeout == -1 && waits[0].fd == endpointFd);
            waits[0].revents = POLLIN;
            waits[1].revents = 0;
            return 1;
        };
        sys->Read = [this](auto... arguments) { return Read(arguments...); };
        sys->Write = [this](auto... arguments) { return Write(arguments...); };
        sys->Klogctl = [this](auto... arguments) { return KernelLog(arguments...); };
        subi.emplace("subi", "udc.0");
        EndpointOf(*subi) = UniqueFd(endpointFd);
        Connect(IdentityOf(*subi), chip);
    }

    void Step(Input& input) {
        const std::uint8_t what = input.Byte();
        hostData.clear();
        switch (what & 7) {
        case 0: // any event, complete or not; an empty one is a failed read
            event = input.Some(input.Byte() % 13);
            return Serve();
        case 1: // the next results of the kernel log
            unread = static_cast<std::int8_t>(input.Byte());
            logResult = static_cast<std::int8_t>(input.Byte());
            return;
        case 2:
            return ChangeCamera(input);
        default: // a request and the host's data
            event.assign(12, 0);
            event[0] = what & 0xf8;
            event[1] = input.Byte();
            event[6] = input.Byte();
            event[7] = input.Byte();
            event[8] = 4;
            hostData = input.Some(input.Byte() % 9);
            return Serve();
        }
    }

private:
    void Serve() {
        zero.Begin(event, hostData);
        answers = 0;
        try {
            subi->ServiceFunction();
        } catch (const std::invalid_argument&) {
            // The development machine has no version file; the application ends on such a device.
            Demand(event.at(1) == 78 && selector == 0);
        }
        const bool isRequest = event.size() == 12 && event[8] == 4;
        Demand(!zero.IsPending() && answers <= (isRequest ? 1 : 0));
    }

    ssize_t Read(int fd, void* data, std::size_t size) {
        Demand(fd == endpointFd);
        const bool isData = !zero.IsPending();
        answers += size == 0 ? 1 : 0;
        Demand(size == 0 ? IsIn() : size == (isData ? Length() : test::subiEventSize));
        const ssize_t count = zero.Read(data, size);
        if (count > 0 && isData && event[1] == 85) {
            std::memcpy(&selector, data,
                        std::min(static_cast<std::size_t>(count), sizeof selector));
        }
        return count;
    }

    ssize_t Write(int fd, const void* data, std::size_t size) {
        Demand(fd == endpointFd);
        ++answers;
        const ssize_t result = zero.Write(data, size, !IsIn());
        if (result < 0) {
            return result;
        }
        const Bytes& reply = *zero.outcome.reply; // a copy, so every byte was readable
        const auto answers78 = [&](int which) { return event[1] == 78 && selector == which; };
        if (answers78(14)) { // the kernel truncates it to the requested length
            Demand(reply == std::exchange(logText, {}));
        } else {
            Demand(size == Length());
        }
        if (event[1] == 88 || event[1] == 93 || answers78(21)) {
            const auto* end = settings.data() + settings.size();
            Demand(size == 0 ||
                   std::search(settings.data(), end, reply.begin(), reply.end()) != end);
        }
        return result;
    }

    int KernelLog(int action, char* buffer, int size) {
        logText.clear(); // even after a failure, the previous text must not be sent again
        if (action == 9) {
            return unread;
        }
        Demand(action == 2 && size == 64);
        Demand(unread != 0); // otherwise the kernel would wait for the next line
        if (logResult < 0) {
            return test::FailWith(EPERM);
        }
        logText.assign(static_cast<std::size_t>(std::min(logResult, size)),
                       static_cast<std::uint8_t>(logResult | 0x80));
        std::memset(buffer, 0x55, static_cast<std::size_t>(size));
        std::ranges::copy(logText, buffer);
        return logResult; // may exceed the size of the buffer
    }

    void ChangeCamera(Input& input) {
        switch (input.Byte() & 3) {
        case 0: {
            Bytes header = input.Some(128 + input.Byte() % 16); // the function reads offset 131
            test::image.header_size = static_cast<std::uint32_t>(header.size());
            test::image.buffer = header.data();
            return subi->OnCameraFrameAvailable(camera, nullptr);
        }
        case 1:
            return subi->OnCameraCaptureSessionStart(camera);
        case 2:
            return subi->OnCameraCaptureSessionStop(camera);
        default:
            return subi->OnCameraDisconnect(camera);
        }
    }

    bool IsIn() const { return (event.at(0) & 0x80) != 0; }
    std::size_t Length() const { return LoadLe<std::uint16_t>(&event.at(6)); }

    static constexpr int endpointFd = 1 << 20;
    static constexpr int wakeFd = endpointFd + 1;

    test::ScopedSys sys;
    Camera camera{nullptr};
    std::optional<USBGadgetSubi> subi;

    // The kernel's data for the current call, and its results.
    test::EndpointZero zero;
    Bytes event;
    Bytes hostData;
    int unread = 0;
    int logResult = 0;
    int answers = 0;

    // The host's selection, and the log text that it may read.
    std::uint16_t selector = 0;
    Bytes logText;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::cout.setstate(std::ios::failbit); // every failed read prints a message
    Input input{{data, size}};
    World world(input.Some(16));
    while (!input.left.empty()) {
        world.Step(input);
    }
    return 0;
}
