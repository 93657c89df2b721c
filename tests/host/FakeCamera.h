#pragma once

#include "host/Transport.h"

#include <optional>
#include <string>
#include <vector>

namespace vantorel::host::test {

/** A request as it was seen on the bus. */
struct Seen {
    std::uint8_t request;
    std::size_t length;
};

/** What the device is and what state it is in; shared by the transports that are opened to it. */
struct FakeState {
    bool hasIdentity = true;
    std::string kernelLog;
    bool kernelLogFails = false;
    bool refusesSession = false; // after the bus has acknowledged the order
    std::uint16_t temperature = 0;
    std::uint32_t status = 0;
    std::uint16_t session = 0;
    int sessionChanges = 0;
    std::uint16_t selector = 0;
    std::uint16_t remaining = 0;
    std::uint16_t offset = 0;
    std::string logPiece;
    std::string serial = "SN42";
    std::vector<Seen> seen;
    std::optional<Failure> failure;  ///< instead of an answer ...
    std::size_t failureAfter = 0;    ///< ... from this request on
    std::size_t serialChangesAt = 0; ///< request at which the device forgets who it is
};

std::uint8_t FactoryByte(std::size_t offset);

/** A small model of the device's side of the protocol. */
class FakeCamera final : public Transport {
public:
    explicit FakeCamera(FakeState& shared) : state(shared) {}
    std::size_t In(const Setup& setup, std::span<std::uint8_t> data) override;
    void Out(const Setup& setup, std::span<const std::uint8_t> data) override;

private:
    using Bytes = std::vector<std::uint8_t>;
    void Arrive(const Setup& setup, std::size_t length);
    Bytes Answer(std::uint8_t request, std::size_t length);
    Bytes Selected(std::size_t length);
    Bytes Identity();
    [[noreturn]] void Refuse(std::uint32_t reason);
    FakeState& state;
};

struct FakeBus final : Bus {
    std::vector<DeviceInfo> devices = {{.bus = 1,
                                        .address = 7,
                                        .vendor = 0x1209,
                                        .product = 0x21,
                                        .manufacturer = "Maker",
                                        .name = "Camera",
                                        .portSerial = "0x5a",
                                        .problem = ""}};
    std::optional<Failure> openFailure;
    unsigned openedAddress = 0;
    unsigned timeout = 0;
    FakeState state;

    std::vector<DeviceInfo> List(std::uint16_t vendor) override;
    std::unique_ptr<Transport> Open(const DeviceInfo& device, unsigned timeoutMs) override;
};

} // namespace vantorel::host::test
