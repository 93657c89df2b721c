// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "host/Transport.h"

struct libusb_context;

namespace vantorel::host {

/** The cameras on this computer's USB, through libusb. */
class UsbBus final : public Bus {
public:
    UsbBus();
    ~UsbBus() override;
    UsbBus(const UsbBus&) = delete;
    UsbBus& operator=(const UsbBus&) = delete;

    std::vector<DeviceInfo> List(std::uint16_t vendor) override;
    std::unique_ptr<Transport> Open(const DeviceInfo& device, unsigned timeoutMs) override;

private:
    libusb_context* context = nullptr;
};

} // namespace vantorel::host
