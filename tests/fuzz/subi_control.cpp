// Plays arbitrary events and host data to the vendor control function. Nothing of the machine is
// touched and no thread runs: endpoint zero, the kernel's log and the camera's frames are in here.
//
// An input is a text that the camera calls its chip, then steps: a byte that says what happens (see
// World::Step()) and what belongs to it.

#include "tests/fuzz/Demand.h"
#include "tests/fuzz/Frame.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/ScriptedSys.h"
#include "vantorel/camera/Camera.h"
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
#include <vector>

namespace {

using namespace vantorel;
using test::Demand;
using Bytes = std::vector<std::uint8_t>;

// Adding the function for real would start its thread. An explicit instantiation is the one place
// that may name what is private.
auto& IdentityOf(USBGadgetSubi& subi);
auto& EndpointOf(USBGadgetSubi& subi);
template <auto Identity, auto Endpoint>
struct Inside {
    friend auto& IdentityOf(USBGadgetSubi& subi) { return subi.*Identity; }
    friend auto& EndpointOf(USBGadgetSubi& subi) { return subi.*Endpoint; }
};
template struct Inside<&USBGadgetSubi::identity, &USBGadgetSubi::endpointZero>;

std::uint8_t FactoryByte(std::size_t at) {
    return KIROCAMERA_SIM_FACTORY_BYTE(at);
}

template <typename Identity>
void Connect(SharedSlot<const Identity>& slot, const Bytes& chip) {
    auto identity = std::make_shared<Identity>();
    std::ranges::copy(chip, identity->chipId.begin());
    std::ranges::generate(identity->factorySettings,
                          [at = std::size_t{0}]() mutable { return FactoryByte(at++); });
    slot.Store(std::move(identity));
}

/** What an input still holds; zeros behind its end. */
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

std::uint16_t Word(const Bytes& bytes, std::size_t at) {
    return static_cast<std::uint16_t>(bytes.at(at) | bytes.at(at + 1) << 8);
}

/** What one call of the function did at endpoint zero. */
struct Calls {
    int polls = 0;
    int events = 0;
    int takes = 0;
    int stalls = 0;
    int logReads = 0;
    int wishes = 0;
    std::optional<Bytes> reply;
};

/** The machine around the function, and what a host may get out of it. */
class World final : public USBGadgetObserver {
public:
    explicit World(const Bytes& chip) {
        sys->Eventfd = [this](unsigned, int) { return ++descriptors, wakeFd; };
        sys->Close = [this](int) { return --descriptors, 0; };
        sys->Poll = [this](pollfd* waits, nfds_t count, int timeout) {
            Demand(count == 2 && timeout == -1);
            Demand(waits[0].fd == endpointFd && waits[1].fd == wakeFd);
            waits[0].revents = POLLIN;
            waits[1].revents = 0;
            return ++calls.polls;
        };
        sys->Read = [this](auto... arguments) { return Read(arguments...); };
        sys->Write = [this](auto... arguments) { return Write(arguments...); };
        sys->Klogctl = [this](auto... arguments) { return KernelLog(arguments...); };
        subi.emplace("subi", "udc.0");
        subi->AddObserver(*this);
        EndpointOf(*subi) = UniqueFd(endpointFd);
        ++descriptors;
        Connect(IdentityOf(*subi), chip);
    }
    ~World() override {
        subi.reset();
        Demand(descriptors == 0);
    }

    void Step(Input& input) {
        const std::uint8_t what = input.Byte();
        hostData.clear();
        switch (what & 7) {
        case 0: // any event, not always a whole one; none is a failed read
            event = input.Some(input.Byte() % 13);
            return Serve();
        case 1: // what the kernel's log does next
            unread = static_cast<std::int8_t>(input.Byte());
            logResult = static_cast<std::int8_t>(input.Byte());
            return;
        case 2:
            return ChangeCamera(input);
        default: // a request with what the host sends along
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

    void OnUSBGadgetStopCaptureSessionRequest(USBGadget&) override { ++calls.wishes; }
    void OnUSBGadgetStartCaptureSessionRequest(USBGadget&) override { ++calls.wishes; }
    void OnUSBGadgetError(USBGadget&, Error&) override { std::abort(); }

private:
    ssize_t Read(int fd, void* data, std::size_t size) {
        Demand(fd == endpointFd);
        if (size == 0) {
            Demand(IsIn());
            ++calls.stalls;
            return test::FailWith(EL2HLT);
        }
        const bool first = calls.events + calls.takes == 0;
        ++(first ? calls.events : calls.takes);
        Demand(first ? size == 12 : size == Word(event, 6));
        const Bytes& source = first ? event : hostData;
        if (source.empty()) {
            return test::FailWith(first ? EL2HLT : EIDRM);
        }
        const std::size_t count = std::min(size, source.size());
        std::memset(data, 0xee, size); // what a short transfer leaves behind is not the host's
        std::memcpy(data, source.data(), count);
        return static_cast<ssize_t>(count);
    }

    ssize_t Write(int fd, const void* data, std::size_t size) {
        Demand(fd == endpointFd);
        if (size == 0 && !IsIn()) {
            ++calls.stalls;
            return test::FailWith(EL2HLT);
        }
        Demand(!calls.reply);
        const auto* bytes = static_cast<const std::uint8_t*>(data);
        calls.reply.emplace(bytes, bytes + size); // every byte is really there
        return static_cast<ssize_t>(size);
    }

    int KernelLog(int action, char* buffer, int size) {
        logText.clear(); // whatever comes of it, the text before is not to be had again
        if (action == 9) {
            return unread;
        }
        Demand(action == 2 && size == 64);
        Demand(unread != 0); // or the kernel would wait for the next line
        ++calls.logReads;
        if (logResult < 0) {
            return test::FailWith(EPERM);
        }
        logText.assign(static_cast<std::size_t>(std::min(logResult, size)),
                       static_cast<std::uint8_t>(logResult | 0x80));
        std::memset(buffer, 0x55, static_cast<std::size_t>(size));
        std::ranges::copy(logText, buffer);
        return logResult; // more than there is room for, as from a confused kernel
    }

    void ChangeCamera(Input& input) {
        switch (input.Byte() & 3) {
        case 0: {
            Bytes header = input.Some(128 + input.Byte() % 16); // the value wanted is at 131
            test::image.header_size = static_cast<std::uint32_t>(header.size());
            test::image.buffer = header.data();
            return subi->OnCameraFrameAvailable(camera, nullptr);
        }
        case 1:
            return subi->OnCameraCaptureSessionStart(camera);
        case 2:
            return subi->OnCameraCaptureSessionStop(camera);
        default:
            connected = false;
            return subi->OnCameraDisconnect(camera);
        }
    }

    void Serve() {
        calls = {};
        try {
            subi->ServiceFunction();
        } catch (const std::invalid_argument&) {
            // The development machine has no version to tell; a device without one ends here.
            Demand(event[1] == 78 && selector == 0 && Word(event, 6) == 36);
            return;
        }
        Demand(calls.polls == 1 && calls.events == 1);
        if (event.size() == 12 && event[8] == 4) {
            return CheckRequest(event[1], Word(event, 6));
        }
        Demand(calls.takes + calls.stalls + calls.logReads == 0 && !calls.reply);
    }

    void CheckRequest(std::uint8_t request, std::uint16_t length) {
        // A reply, a refusal or a take; silence is for later selectors alone.
        Demand(calls.takes <= 1 && calls.stalls <= 1 && calls.logReads <= 1 && calls.wishes <= 1);
        Demand(!calls.reply || calls.stalls + calls.takes == 0);
        Demand(calls.reply || calls.stalls + calls.takes > 0 || (request == 78 && selector > 27));
        const bool text =
            request == 78 && selector == 14; // the kernel cuts it to what is asked for
        Demand(!calls.reply || text || calls.reply->size() == length);
        CheckMemory(request, length);
        const auto take = [this](void* state, std::size_t size) {
            if (calls.takes == 1 && !hostData.empty()) {
                std::memcpy(state, hostData.data(), std::min(size, hostData.size()));
            }
        };
        if (request == 85) {
            take(&selector, sizeof selector);
        } else if (request == 86) {
            take(range.data(), sizeof range);
        }
    }

    void CheckMemory(std::uint8_t request, std::uint16_t length) {
        const auto isFactory = [this](std::size_t at) {
            Demand(at + calls.reply->size() <= KIROCAMERA_FACTORY_SETTINGS_SIZE);
            for (const std::uint8_t byte : *calls.reply) {
                Demand(byte == FactoryByte(at++));
            }
        };
        if (request == 88) {
            const std::size_t begin = 2U * range[1];
            const bool granted = connected && range[0] >= length / 2 && begin + length <= 5120;
            Demand(calls.reply.has_value() == (granted && (IsIn() || length > 0)));
            if (calls.reply) {
                isFactory(begin);
                range[0] = static_cast<std::uint16_t>(range[0] - length / 2);
                range[1] = static_cast<std::uint16_t>(range[1] + length / 2);
            }
        } else if (calls.reply && (request == 93 || (request == 78 && selector == 21))) {
            isFactory(4884);
        } else if (calls.reply && request == 78 && selector == 13) {
            Demand(Word(*calls.reply, 0) == logText.size());
        } else if (calls.reply && request == 78 && selector == 14) {
            Demand(*calls.reply == logText && length <= logText.size());
            logText.clear();
        }
    }

    bool IsIn() const { return (event.at(0) & 0x80) != 0; }

    static constexpr int endpointFd = 1 << 20;
    static constexpr int wakeFd = endpointFd + 1;

    test::ScopedSys sys;
    int descriptors = 0;
    Camera camera{nullptr};
    std::optional<USBGadgetSubi> subi;

    // What the kernel has for the call under way.
    Bytes event;
    Bytes hostData;
    int unread = 0;
    int logResult = 0;
    Calls calls;

    // The protocol's state as far as it decides about memory.
    bool connected = true;
    std::uint16_t selector = 0;
    std::array<std::uint16_t, 3> range{}; // remaining, offset, flag
    Bytes logText;
};

void Play(Input input) {
    World world(input.Some(16));
    while (!input.left.empty()) {
        world.Step(input);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::cout.setstate(std::ios::failbit); // a message for every failed read
    static unsigned long runs = 0;
    const bool counts = ++runs % 4096 == 0; // a look at /proc takes longer than a run
    const auto before = counts ? test::CountOpenDescriptors() : 0;
    Play({{data, size}});
    Demand(!counts || test::CountOpenDescriptors() == before);
    return 0;
}
