// The control protocol of the vendor function: one event of endpoint zero per call.

#include "vantorel/service/private/LittleEndian.h"
#include "vantorel/service/private/StatusLine.h"
#include "vantorel/service/private/Sys.h"
#include "vantorel/ui/Version.h"
#include "vantorel/usb/USBGadgetSubi.h"
#include "vantorel/usb/private/SubiDescriptors.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <string>

#include <poll.h>

namespace vantorel {
namespace {

constexpr std::uint32_t success = 0;
constexpr std::uint32_t kernelLogFailed = 0x30000;
constexpr std::uint32_t stopRefused = 0x30300;
constexpr std::uint32_t unsupported = 0x50000;

// The requests that do more than discard a word, and the values that request 78 reads.
namespace request {
constexpr std::uint8_t status = 53;
constexpr std::uint8_t chipNumber = 54;
constexpr std::uint8_t setSession = 60;
constexpr std::uint8_t session = 61;
constexpr std::uint8_t alwaysEight = 63;
constexpr std::uint8_t selected = 78;
constexpr std::uint8_t stopSession = 84;
constexpr std::uint8_t select = 85;
constexpr std::uint8_t setFactoryRange = 86;
constexpr std::uint8_t factoryRange = 88;
constexpr std::uint8_t factoryTail = 93;
} // namespace request

namespace selector {
constexpr std::uint16_t version = 0;
constexpr std::uint16_t fetchKernelLog = 13;
constexpr std::uint16_t kernelLog = 14;
constexpr std::uint16_t alwaysTwo = 17;
constexpr std::uint16_t packetSize = 18;
constexpr std::uint16_t roicId = 19;
constexpr std::uint16_t factoryTail = 21;
constexpr std::uint16_t identity = 23;
constexpr std::uint16_t temperature = 26;
constexpr std::uint16_t last = 27;
} // namespace selector

constexpr std::uint8_t setupEvent = 4;
constexpr std::uint8_t deviceToHost = 0x80;

// Actions of klogctl(): read and consume the log (blocks on an empty one), size of the unread part.
constexpr int klogRead = 2;
constexpr int klogSizeUnread = 9;

constexpr std::size_t factoryTailOffset = 4884;
constexpr std::size_t factoryTailSize = 64;

/**
 * The protocol sends temperatures in 32nds of a degree, low 16 bits only; 0 for a value that is not
 * a number or exceeds 32 bits.
 */
std::uint16_t In32nds(float value) {
    const double scaled = static_cast<double>(value) * 32.0;
    if (!(std::abs(scaled) < 2147483648.0)) {
        return 0;
    }
    return static_cast<std::uint16_t>(std::lround(scaled));
}

} // namespace

void USBGadgetSubi::ServiceFunction() {
    if (!WaitForEvent()) {
        return;
    }
    std::array<std::uint8_t, 12> event{};
    const ssize_t size = sys::Read(endpointZero.Get(), event.data(), event.size());
    if (size < 0) {
        const int error = errno;
        PrintStatus("SUBI: ep0 read failed errno: ", error);
        return;
    }
    if (size == static_cast<ssize_t>(event.size()) && event[8] == setupEvent) {
        Answer({event[0], event[1], LoadLe<std::uint16_t>(&event[6])});
    }
}

/** Returns false when OnRemove() ended the wait. */
bool USBGadgetSubi::WaitForEvent() const {
    // A thread that blocks in read() would delay every unbinding of the port: the kernel waits for
    // such a read before it releases the function.
    pollfd waits[] = {{endpointZero.Get(), POLLIN, 0}, {wake.Get(), POLLIN, 0}};
    while (endpointZero) {
        if (sys::Poll(waits, 2, -1) >= 0) {
            return (waits[1].revents & POLLIN) == 0;
        }
        if (errno != EINTR) { // after a signal, poll again instead of blocking in the read
            break;
        }
    }
    return true; // the read reports the error
}

void USBGadgetSubi::Answer(const SetupRequest& setup) {
    struct Row {
        std::uint8_t request;
        int length; // -1: any
    };
    static constexpr Row rows[] = {{request::status, 4},
                                   {request::chipNumber, 12},
                                   {request::setSession, 2},
                                   {request::session, 2},
                                   {62, 2},
                                   {request::alwaysEight, 2},
                                   {request::selected, -1},
                                   {request::stopSession, 2},
                                   {request::select, 2},
                                   {request::setFactoryRange, 6},
                                   {request::factoryRange, -1},
                                   {89, 2},
                                   {90, 2},
                                   {91, 2},
                                   {request::factoryTail, 64}};
    const auto row = std::ranges::find(rows, setup.request, &Row::request);
    if (row == std::end(rows)) {
        return Refuse(setup, unsupported);
    }
    if (row->length >= 0 && row->length != setup.length) {
        return Stall(setup);
    }
    switch (setup.request) {
    case request::status:
        Reply(&status, sizeof status);
        status = success;
        break;
    case request::chipNumber:
        return AnswerChipId(setup);
    case request::setSession:
        return TakeSessionState();
    case request::session:
        return ReplyWord(captureSessionState);
    case request::alwaysEight:
        return ReplyWord(8);
    case request::selected:
        return AnswerSelected(setup);
    case request::stopSession:
        return TakeStopRequest(setup);
    case request::select:
        Take(&subSelector, sizeof subSelector);
        status = success;
        break;
    case request::setFactoryRange:
        return TakeFactoryRange(setup);
    case request::factoryRange:
        return AnswerFactoryRange(setup);
    case request::factoryTail:
        if (request93Flag != 0) {
            return Refuse(setup, unsupported);
        }
        return AnswerFactoryTail(setup);
    default: // 62, 89, 90, 91
        return Discard();
    }
}

void USBGadgetSubi::AnswerSelected(const SetupRequest& setup) {
    const auto with = [&](std::uint16_t length, auto answer) {
        setup.length == length ? answer() : Stall(setup);
    };
    if (subSelector > selector::last) {
        return; // neither reply nor stall. Kept: a host program may rely on it
    }
    switch (subSelector) {
    case selector::version:
        return with(36, [&] { AnswerVersion(); });
    case selector::fetchKernelLog:
        return with(4, [&] { FetchKernelLog(setup); });
    case selector::kernelLog:
        return AnswerKernelLog(setup);
    case selector::alwaysTwo:
        return with(2, [&] { ReplyWord(2); });
    case selector::packetSize:
        return with(2, [&] {
            ReplyWord(LoadLe<std::uint16_t>(&subi::descriptors[subi::packetSizeOffset]));
        });
    case selector::roicId:
        return with(2, [&] {
            const auto known = identity.Load();
            known ? ReplyWord(known->roicId) : Refuse(setup, unsupported);
        });
    case selector::factoryTail:
        return with(factoryTailSize, [&] { AnswerFactoryTail(setup); });
    case selector::identity:
        return with(66, [&] { AnswerIdentityRecord(setup); });
    case selector::temperature:
        return with(2, [&] { ReplyWord(In32nds(latestHeaderValue)); });
    default:
        return Refuse(setup, unsupported);
    }
}

void USBGadgetSubi::AnswerChipId(const SetupRequest& setup) {
    const auto known = identity.Load();
    const std::string text =
        known ? std::string(known->chipId.data(),
                            ::strnlen(known->chipId.data(), known->chipId.size()))
              : std::string();
    std::array<std::uint16_t, 6> words{};
    if (text.size() < 2 * words.size()) {
        return Refuse(setup, unsupported);
    }
    try {
        for (std::size_t pair = 0; pair < words.size(); ++pair) {
            const int number = std::stoi(text.substr(2 * pair, 2), nullptr, 16);
            words[words.size() - 1 - pair] = static_cast<std::uint8_t>(number);
        }
    } catch (const std::logic_error&) { // invalid_argument, out_of_range
        return Refuse(setup, unsupported);
    }
    Reply(words.data(), sizeof words);
    status = success;
}

void USBGadgetSubi::AnswerVersion() {
    std::array<char, 36> record{};
    const auto version = VersionBytes(DeviceVersion()); // its exceptions end the process
    std::ranges::copy(version, record.begin());
    static_assert(sizeof __DATE__ <= 16 && sizeof __TIME__ <= 16);
    std::memcpy(&record[4], __DATE__, sizeof __DATE__);
    std::memcpy(&record[20], __TIME__, sizeof __TIME__);
    Reply(record.data(), record.size());
    status = success;
}

void USBGadgetSubi::AnswerIdentityRecord(const SetupRequest& setup) {
    const auto known = identity.Load();
    if (!known) {
        return Refuse(setup, unsupported);
    }
    std::array<std::uint8_t, 66> record{};
    std::ranges::copy(known->chipId, &record[0]);
    std::ranges::copy(known->serialNumber, &record[16]);
    record[32] = static_cast<std::uint8_t>(known->roicId & 0xff);
    record[33] = static_cast<std::uint8_t>(known->roicId >> 8);
    record[34] = 27;
    Reply(record.data(), record.size());
    status = success;
}

void USBGadgetSubi::AnswerFactoryTail(const SetupRequest& setup) {
    const auto known = identity.Load();
    if (!known) {
        return Refuse(setup, unsupported);
    }
    Reply(&known->factorySettings[factoryTailOffset], factoryTailSize);
    status = success;
}

void USBGadgetSubi::AnswerFactoryRange(const SetupRequest& setup) {
    const auto known = identity.Load();
    const std::uint32_t begin = 2U * factoryReadRange.offset;
    // The host chooses the range. A range beyond the settings is refused: the reply would expose
    // the memory after them.
    if (factoryReadRange.remaining < setup.length / 2 || !known ||
        begin + setup.length > known->factorySettings.size()) {
        return Stall(setup);
    }
    Reply(known->factorySettings.data() + begin, setup.length);
    const auto words = static_cast<std::uint16_t>(setup.length / 2);
    factoryReadRange.remaining = static_cast<std::uint16_t>(factoryReadRange.remaining - words);
    factoryReadRange.offset = static_cast<std::uint16_t>(factoryReadRange.offset + words);
}

void USBGadgetSubi::FetchKernelLog(const SetupRequest& setup) {
    // Reading an empty log waits for the kernel's next line, and so would every other request. That
    // still happens when another reader empties the log between the two calls: klogctl() has no
    // action that consumes the log without blocking, and a thread per request is not worth it. The
    // next line of the log ends the wait.
    int count = sys::Klogctl(klogSizeUnread, nullptr, 0);
    if (count != 0) {
        count = sys::Klogctl(klogRead, kernelLog.data(), static_cast<int>(kernelLog.size()));
    }
    kernelLogCount = std::clamp(count, 0, static_cast<int>(kernelLog.size()));
    if (count < 0) {
        return Refuse(setup, kernelLogFailed);
    }
    Reply(&kernelLogCount, sizeof kernelLogCount);
    status = success;
}

void USBGadgetSubi::AnswerKernelLog(const SetupRequest& setup) {
    if (setup.length > kernelLogCount) {
        return Refuse(setup, kernelLogFailed);
    }
    Reply(kernelLog.data(), static_cast<std::size_t>(kernelLogCount));
    kernelLog.fill(0);
    kernelLogCount = 0;
    status = success;
}

void USBGadgetSubi::TakeSessionState() {
    std::uint16_t wanted = 0;
    Take(&wanted, sizeof wanted);
    if (wanted != captureSessionState) {
        if (wanted == 1) {
            observers.Notify(&USBGadgetObserver::OnUSBGadgetStartCaptureSessionRequest, *this);
        } else if (wanted == 0) {
            observers.Notify(&USBGadgetObserver::OnUSBGadgetStopCaptureSessionRequest, *this);
        }
        // Other values start and stop nothing, but request 61 reports them. Kept: a host program
        // may rely on it.
        captureSessionState = wanted;
    }
    status = success;
}

void USBGadgetSubi::TakeStopRequest(const SetupRequest& setup) {
    std::uint16_t value = 3; // refused when no data arrives
    Take(&value, sizeof value);
    if (value == 3) {
        return Refuse(setup, stopRefused);
    }
    observers.Notify(&USBGadgetObserver::OnUSBGadgetStopCaptureSessionRequest, *this);
}

void USBGadgetSubi::TakeFactoryRange(const SetupRequest& setup) {
    Take(&factoryReadRange, sizeof factoryReadRange);
    if (factoryReadRange.flag != 0) {
        Stall(setup); // the range stays set
    }
}

void USBGadgetSubi::Discard() {
    std::uint16_t ignored = 0;
    Take(&ignored, sizeof ignored);
    status = success;
}

void USBGadgetSubi::Reply(const void* data, std::size_t size) {
    static_cast<void>(sys::Write(endpointZero.Get(), data, size));
}

void USBGadgetSubi::ReplyWord(std::uint16_t word) {
    Reply(&word, sizeof word);
    status = success;
}

/** Reads the data stage; bytes that did not arrive keep their values. */
void USBGadgetSubi::Take(void* data, std::size_t size) {
    std::array<std::uint8_t, 8> received{};
    const ssize_t count = sys::Read(endpointZero.Get(), received.data(), size);
    if (count > 0) {
        std::memcpy(data, received.data(), std::min(size, static_cast<std::size_t>(count)));
    }
}

/** Refuses the request as FunctionFS requires: transfers no data in the wrong direction. */
void USBGadgetSubi::Stall(const SetupRequest& setup) {
    std::uint8_t nothing = 0;
    if ((setup.requestType & deviceToHost) != 0) {
        static_cast<void>(sys::Read(endpointZero.Get(), &nothing, 0));
    } else {
        static_cast<void>(sys::Write(endpointZero.Get(), &nothing, 0));
    }
}

void USBGadgetSubi::Refuse(const SetupRequest& setup, std::uint32_t reason) {
    status = reason;
    Stall(setup);
}

} // namespace vantorel
