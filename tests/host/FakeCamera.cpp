#include "tests/host/FakeCamera.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace vantorel::host::test {
namespace {

std::vector<std::uint8_t> Word(std::uint32_t value, std::size_t size = 2) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i < size; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
    return bytes;
}

[[noreturn]] void Stall() {
    throw TransportError(Failure::Stall, "stall");
}

} // namespace

std::uint8_t FactoryByte(std::size_t offset) {
    return static_cast<std::uint8_t>(offset * 7 + offset / 256);
}

void FakeCamera::Arrive(const Setup& setup, std::size_t length) {
    state.seen.push_back({setup.request, length});
    if (state.failure && state.seen.size() > state.failureAfter) {
        throw TransportError(*state.failure, "The cable is cut.");
    }
    if (state.seen.size() == state.serialChangesAt) {
        state.serial = "SN43";
    }
}

std::size_t FakeCamera::In(const Setup& setup, std::span<std::uint8_t> data) {
    Arrive(setup, data.size());
    const Bytes bytes = Answer(setup.request, data.size());
    const std::size_t size = std::min(bytes.size(), data.size());
    std::copy_n(bytes.begin(), size, data.begin());
    return size;
}

void FakeCamera::Out(const Setup& setup, std::span<const std::uint8_t> data) {
    Arrive(setup, data.size());
    const auto word = [&](std::size_t index) {
        return static_cast<std::uint16_t>(data[2 * index] | data[2 * index + 1] << 8);
    };
    if (data.size() != (setup.request == 86 ? 6U : 2U)) {
        Stall();
    }
    switch (setup.request) {
    case 60:
        if (state.refusesSession) {
            state.status = 0x50000;
            return;
        }
        state.sessionChanges += state.session != word(0);
        state.session = word(0);
        break;
    case 84:
        state.sessionChanges += word(0) != 3;
        state.status = word(0) == 3 ? 0x30300 : 0; // acknowledged on the bus all the same
        return;
    case 85:
        state.selector = word(0);
        break;
    case 86:
        state.remaining = word(0);
        state.offset = word(1);
        return;
    default:
        Refuse(0x50000);
    }
    state.status = 0;
}

void FakeCamera::Refuse(std::uint32_t reason) {
    state.status = reason;
    Stall();
}

FakeCamera::Bytes FakeCamera::Answer(std::uint8_t request, std::size_t length) {
    switch (request) {
    case 53:
        return Word(std::exchange(state.status, 0), 4);
    case 54:
        return {0xab, 0, 0x89, 0, 0x67, 0, 0x45, 0, 0x23, 0, 0x01, 0};
    case 61:
        return Word(state.session);
    case 78:
        return Selected(length);
    case 88: {
        const std::size_t begin = 2U * state.offset;
        if (length > largestTransfer || state.remaining < length / 2 || begin + length > 5120) {
            Stall(); // the status word stays
        }
        Bytes bytes(length);
        for (std::size_t i = 0; i < length; ++i) {
            bytes[i] = FactoryByte(begin + i);
        }
        state.remaining = static_cast<std::uint16_t>(state.remaining - length / 2);
        state.offset = static_cast<std::uint16_t>(state.offset + length / 2);
        return bytes;
    }
    default:
        Refuse(0x50000);
    }
}

FakeCamera::Bytes FakeCamera::Selected(std::size_t length) {
    switch (state.selector) {
    case 0: {
        Bytes record = {4, 2, 1, 44};
        record.resize(36);
        std::memcpy(&record[4], "Jul 26 2022", 11);
        std::memcpy(&record[20], "10:11:12", 8);
        return record;
    }
    case 13:
        if (state.kernelLogFails) {
            Refuse(0x30000);
        }
        state.logPiece = state.kernelLog.substr(0, 64);
        state.kernelLog.erase(0, 64);
        return Word(static_cast<std::uint32_t>(state.logPiece.size()), 4);
    case 14:
        if (length > state.logPiece.size()) {
            Refuse(0x30000);
        }
        return {state.logPiece.begin(), state.logPiece.end()};
    case 23:
        return Identity();
    case 26:
        return Word(state.temperature);
    default:
        Refuse(0x50000);
    }
}

FakeCamera::Bytes FakeCamera::Identity() {
    if (!state.hasIdentity) {
        Refuse(0x50000);
    }
    Bytes record(66);
    std::memcpy(&record[0], "0123456789ABCDEF", 16); // fills its field: no zero ends it
    std::ranges::copy(state.serial, &record[16]);
    record[32] = 0x34;
    record[33] = 0x12;
    return record;
}

std::vector<DeviceInfo> FakeBus::List(std::uint16_t vendor) {
    std::vector<DeviceInfo> found = devices;
    std::erase_if(found, [&](const DeviceInfo& info) { return info.vendor != vendor; });
    return found;
}

std::unique_ptr<Transport> FakeBus::Open(const DeviceInfo& device, unsigned timeoutMs) {
    if (openFailure) {
        throw TransportError(*openFailure, "It does not open.");
    }
    openedAddress = device.address;
    timeout = timeoutMs;
    return std::make_unique<FakeCamera>(state);
}

} // namespace vantorel::host::test
