// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "host/Transport.h"
#include "tests/usb/SubiTest.h"

#include <functional>
#include <map>
#include <string_view>

namespace vantorel::host {

/** A bus that connects to the device's real vendor function. */
struct FakeBus final : Bus {
    std::vector<DeviceInfo> devices = {{1, 7, 0x1209, 0x21, "Maker", "Camera", "0x5a", ""}};
    std::optional<Failure> openFailure;
    unsigned openedAddress = 0;
    unsigned timeout = 0;
    static constexpr std::string_view version{"\4\2\1\x2cJul 26 2022\0\0\0\0\0"
                                              "10:11:12\0\0\0\0\0\0\0\0",
                                              36};
    test::SubiDevice device;
    std::size_t requests = 0;
    std::function<void()> onRequest = [] {};
    /** Replies that replace those of the device, by request and length. The version is always
     * replaced, since only the device has a version file. */
    std::map<std::pair<int, std::size_t>, std::optional<test::Bytes>> replaced = {
        {{78, 36}, test::Bytes(version.begin(), version.end())}};

    std::vector<DeviceInfo> List(std::uint16_t vendor) override {
        std::vector<DeviceInfo> found = devices;
        std::erase_if(found, [&](const DeviceInfo& info) { return info.vendor != vendor; });
        return found;
    }
    std::unique_ptr<Transport> Open(const DeviceInfo& info, unsigned timeoutMs) override {
        if (openFailure) {
            throw TransportError(*openFailure, "It does not open.");
        }
        openedAddress = info.address;
        timeout = timeoutMs;
        return std::make_unique<Cable>(*this);
    }

private:
    class Cable final : public Transport {
    public:
        explicit Cable(FakeBus& owner) : bus(owner) {}
        std::size_t In(const Setup& setup, std::span<std::uint8_t> data) override {
            Count(data.size());
            const auto other = bus.replaced.find({setup.request, data.size()});
            const auto reply = other == bus.replaced.end()
                                   ? bus.device.endpoint.In(setup.request, data.size()).reply
                                   : other->second;
            if (!reply) { // a missing reply also stalls once the device waits for the next request
                throw TransportError(Failure::Stall, "stall");
            }
            const std::size_t size = std::min(reply->size(), data.size());
            std::copy_n(reply->begin(), size, data.begin());
            return size;
        }
        void Out(const Setup& setup, std::span<const std::uint8_t> data) override {
            Count(data.size());
            auto& endpoint = bus.device.endpoint;
            const auto outcome = endpoint.Out(setup.request, {data.begin(), data.end()});
            if (outcome != test::silence && !endpoint.DataTaken()) {
                throw TransportError(Failure::Stall, "stall");
            }
        }

    private:
        void Count(std::size_t length) {
            EXPECT_LE(length, largestTransfer);
            ++bus.requests;
            bus.onRequest();
        }
        FakeBus& bus;
    };
};

} // namespace vantorel::host
