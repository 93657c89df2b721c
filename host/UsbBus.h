// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "host/Transport.h"

struct libusb_context;

namespace vantorel::host {

/** The cameras on this computer's USB, through libusb. */
class UsbBus final : public Bus {
public:
    UsbBus() = default;
    ~UsbBus() override;
    UsbBus(const UsbBus&) = delete;
    UsbBus& operator=(const UsbBus&) = delete;

    std::vector<DeviceInfo> List(std::uint16_t vendor) override;
    std::unique_ptr<Transport> Open(const DeviceInfo& device, unsigned timeoutMs) override;

private:
    /** Initialises libusb at its first call: the help and a mistake need no USB. */
    libusb_context* Context();

    libusb_context* context = nullptr;
};

} // namespace vantorel::host
