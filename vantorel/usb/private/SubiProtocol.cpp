// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/usb/private/SubiProtocol.h"

#include "vantorel/service/private/LittleEndian.h"
#include "vantorel/service/private/StatusLine.h"
#include "vantorel/service/private/Sys.h"
#include "vantorel/ui/Version.h"
#include "vantorel/usb/private/SubiDescriptors.h"
#include "vantorel/usb/private/SubiRequests.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <iterator>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace vantorel {
namespace {

using namespace subi;

constexpr std::uint8_t setupEvent = 4;
constexpr std::uint8_t deviceToHost = 0x80;

// Actions of klogctl(): read and consume the log (blocks on an empty one), size of the unread part.
constexpr int klogRead = 2;
constexpr int klogSizeUnread = 9;

// Places in the records of the version and of the identity. Kept: a host program may rely on them.
constexpr std::size_t buildDateOffset = 4;
constexpr std::size_t buildTimeOffset = 20;
constexpr std::size_t serialNumberOffset = 16;
constexpr std::size_t roicIdOffset = 32;
constexpr std::size_t fixedNumberOffset = 34;
constexpr std::uint8_t fixedNumber = 27; // the version's second number, too

constexpr std::size_t factoryTailOffset = 4884;
constexpr std::size_t factoryTailSize = request::factoryTail.length;

static_assert(sizeof(SubiIdentity::factorySettings) == factorySettingsSize);
static_assert(sizeof(SubiState::kernelLog) == kernelLogPiece);
static_assert(selector::factoryTail.length == factoryTailSize);

/**
 * Converts to the protocol's unit, 32nds of a degree, and keeps the low 16 bits. Returns 0 for a
 * value that is not a number or exceeds 32 bits.
 */
std::uint16_t In32nds(float value) {
    const double scaled = static_cast<double>(value) * 32.0;
    if (!(std::abs(scaled) < 2147483648.0)) {
        return 0;
    }
    return static_cast<std::uint16_t>(std::lround(scaled));
}

} // namespace

#define VANTOREL_SUBI_ROW(name, number, direction, length, handler)                                \
    {number, length, &SubiProtocol::handler},
const SubiProtocol::Row SubiProtocol::requests[] = {VANTOREL_SUBI_REQUESTS(VANTOREL_SUBI_ROW)};
#undef VANTOREL_SUBI_ROW

#define VANTOREL_SUBI_ROW(name, number, length, handler) {number, length, &SubiProtocol::handler},
const SubiProtocol::Row SubiProtocol::selectors[] = {VANTOREL_SUBI_SELECTORS(VANTOREL_SUBI_ROW)};
#undef VANTOREL_SUBI_ROW

void SubiProtocol::ServeEvent() {
    std::array<std::uint8_t, 12> event{};
    const ssize_t size = endpoint.Read(event.data(), event.size());
    if (size < 0) {
        const int error = errno;
        PrintStatus("SUBI: ep0 read failed errno: ", error);
        return;
    }
    if (size == static_cast<ssize_t>(event.size()) && event[8] == setupEvent) {
        requestType = event[0];
        requestNumber = event[1];
        requestLength = LoadLe<std::uint16_t>(&event[6]);
        AnswerRequest();
    }
}

void SubiProtocol::AnswerRequest() {
    const auto row = std::ranges::find(requests, requestNumber, &Row::number);
    if (row == std::end(requests)) {
        return Refuse(status::unsupported);
    }
    Answer(*row);
}

void SubiProtocol::AnswerSelected() {
    if (state.selector > lastSelector) {
        return; // neither reply nor stall. Kept: a host program may rely on it
    }
    const auto row = std::ranges::find(selectors, state.selector, &Row::number);
    if (row == std::end(selectors)) {
        return Refuse(status::unsupported);
    }
    Answer(*row);
}

void SubiProtocol::Answer(const Row& row) {
    if (row.length != anyLength && row.length != requestLength) {
        return Stall();
    }
    (this->*row.handler)();
}

void SubiProtocol::AnswerStatus() {
    Reply(&state.status, sizeof state.status);
    state.status = status::success;
}

void SubiProtocol::AnswerChipNumber() {
    const std::string text =
        camera ? std::string(camera->chipId.data(),
                             ::strnlen(camera->chipId.data(), camera->chipId.size()))
               : std::string();
    std::array<std::uint16_t, 6> words{};
    if (text.size() < 2 * words.size()) {
        return Refuse(status::unsupported);
    }
    try {
        for (std::size_t pair = 0; pair < words.size(); ++pair) {
            const int number = std::stoi(text.substr(2 * pair, 2), nullptr, 16);
            words[words.size() - 1 - pair] = static_cast<std::uint8_t>(number);
        }
    } catch (const std::logic_error&) { // invalid_argument, out_of_range
        return Refuse(status::unsupported);
    }
    Reply(words.data(), sizeof words);
    state.status = status::success;
}

/** Reads the data stage; bytes that did not arrive keep their values. */
template <typename T>
void SubiProtocol::Take(T& value) {
    static_assert(std::is_trivially_copyable_v<T>);
    std::array<std::uint8_t, sizeof(T)> received{};
    const ssize_t count = endpoint.Read(received.data(), received.size());
    if (count > 0) {
        std::memcpy(&value, received.data(),
                    std::min(received.size(), static_cast<std::size_t>(count)));
    }
}

void SubiProtocol::TakeSessionState() {
    std::uint16_t wanted = 0;
    Take(wanted);
    if (wanted != state.captureSession) {
        // Before the request: a stop can wait for a frame, and other threads may start the session
        // before it returns. Their notifications must replace this value.
        state.captureSession = wanted;
        // Other values start and stop nothing, but the host reads them back. Kept: a host program
        // may rely on it.
        if (wanted == 1) {
            endpoint.RequestSessionStart();
        } else if (wanted == 0) {
            endpoint.RequestSessionStop();
        }
    }
    state.status = status::success;
}

void SubiProtocol::AnswerSessionState() {
    ReplyWord(state.captureSession);
}

void SubiProtocol::Discard() {
    std::uint16_t ignored = 0;
    Take(ignored);
    state.status = status::success;
}

void SubiProtocol::AnswerEight() {
    ReplyWord(8);
}

void SubiProtocol::TakeStopRequest() {
    std::uint16_t value = refusedStop; // refused when no data arrives
    Take(value);
    if (value == refusedStop) {
        return Refuse(status::stopRefused);
    }
    endpoint.RequestSessionStop();
}

void SubiProtocol::TakeSelector() {
    Take(state.selector);
    state.status = status::success;
}

void SubiProtocol::TakeFactoryRange() {
    Take(state.factoryRange);
    if (state.factoryRange.flag != 0) {
        Stall(); // the range stays set
    }
}

void SubiProtocol::AnswerFactoryRange() {
    SubiFactoryRange& range = state.factoryRange;
    const std::uint32_t begin = 2U * range.offset;
    // The host chooses the range. A range beyond the settings is refused: the reply would expose
    // the memory after them.
    if (range.remaining < requestLength / 2 || !camera ||
        begin + requestLength > camera->factorySettings.size()) {
        return Stall();
    }
    Reply(camera->factorySettings.data() + begin, requestLength);
    const auto words = static_cast<std::uint16_t>(requestLength / 2);
    range.remaining = static_cast<std::uint16_t>(range.remaining - words);
    range.offset = static_cast<std::uint16_t>(range.offset + words);
}

void SubiProtocol::AnswerFactoryTailRequest() {
    if (state.factoryTailRefused != 0) {
        return Refuse(status::unsupported);
    }
    AnswerFactoryTail();
}

void SubiProtocol::AnswerVersion() {
    std::array<char, selector::version.length> record{};
    const auto version = VersionBytes(DeviceVersion()); // an exception ends the process
    std::ranges::copy(version, record.begin());
    static_assert(sizeof __DATE__ <= 16 && sizeof __TIME__ <= 16);
    std::memcpy(&record[buildDateOffset], __DATE__, sizeof __DATE__);
    std::memcpy(&record[buildTimeOffset], __TIME__, sizeof __TIME__);
    Reply(record.data(), record.size());
    state.status = status::success;
}

void SubiProtocol::FetchKernelLog() {
    // Reading an empty log waits for the kernel's next line, and every other request would wait
    // with it. This still happens when another reader empties the log between the two calls:
    // klogctl() has no action that consumes the log without blocking, and a thread per request is
    // not worth it. The next line of the log ends the wait.
    const int room = static_cast<int>(state.kernelLog.size());
    int count = sys::Klogctl(klogSizeUnread, nullptr, 0);
    if (count != 0) {
        count = sys::Klogctl(klogRead, state.kernelLog.data(), room);
    }
    state.kernelLogCount = std::clamp(count, 0, room);
    if (count < 0) {
        return Refuse(status::kernelLogFailed);
    }
    Reply(&state.kernelLogCount, sizeof state.kernelLogCount);
    state.status = status::success;
}

void SubiProtocol::AnswerKernelLog() {
    if (requestLength > state.kernelLogCount) {
        return Refuse(status::kernelLogFailed);
    }
    Reply(state.kernelLog.data(), static_cast<std::size_t>(state.kernelLogCount));
    state.kernelLog.fill(0);
    state.kernelLogCount = 0;
    state.status = status::success;
}

void SubiProtocol::AnswerTwo() {
    ReplyWord(2);
}

void SubiProtocol::AnswerPacketSize() {
    ReplyWord(LoadLe<std::uint16_t>(&descriptors[packetSizeOffset]));
}

void SubiProtocol::AnswerRoicId() {
    camera ? ReplyWord(camera->roicId) : Refuse(status::unsupported);
}

void SubiProtocol::AnswerFactoryTail() {
    if (!camera) {
        return Refuse(status::unsupported);
    }
    Reply(&camera->factorySettings[factoryTailOffset], factoryTailSize);
    state.status = status::success;
}

void SubiProtocol::AnswerIdentity() {
    if (!camera) {
        return Refuse(status::unsupported);
    }
    std::array<std::uint8_t, selector::identity.length> record{};
    std::ranges::copy(camera->chipId, &record[0]);
    std::ranges::copy(camera->serialNumber, &record[serialNumberOffset]);
    record[roicIdOffset] = static_cast<std::uint8_t>(camera->roicId & 0xff);
    record[roicIdOffset + 1] = static_cast<std::uint8_t>(camera->roicId >> 8);
    record[fixedNumberOffset] = fixedNumber;
    Reply(record.data(), record.size());
    state.status = status::success;
}

void SubiProtocol::AnswerTemperature() {
    ReplyWord(In32nds(temperature));
}

void SubiProtocol::Reply(const void* data, std::size_t size) {
    static_cast<void>(endpoint.Write(data, size));
}

void SubiProtocol::ReplyWord(std::uint16_t word) {
    Reply(&word, sizeof word);
    state.status = status::success;
}

/**
 * Refuses the request as FunctionFS requires: with a transfer of no data in the wrong direction.
 */
void SubiProtocol::Stall() {
    std::uint8_t nothing = 0;
    if ((requestType & deviceToHost) != 0) {
        static_cast<void>(endpoint.Read(&nothing, 0));
    } else {
        static_cast<void>(endpoint.Write(&nothing, 0));
    }
}

void SubiProtocol::Refuse(std::uint32_t reason) {
    state.status = reason;
    Stall();
}

} // namespace vantorel
