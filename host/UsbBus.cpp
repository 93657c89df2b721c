// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "host/UsbBus.h"

#include <algorithm>
#include <optional>

#include <libusb.h>

namespace vantorel::host {
namespace {

constexpr std::uint16_t smallModel = 0x20;
constexpr std::uint16_t largeModel = 0x21;

[[noreturn]] void Fail(int error) {
    switch (error) {
    case LIBUSB_ERROR_PIPE:
        throw TransportError(Failure::Stall, "The device refused the request.");
    case LIBUSB_ERROR_TIMEOUT:
        throw TransportError(Failure::Timeout, "The device did not answer in time.");
    case LIBUSB_ERROR_NO_DEVICE:
    case LIBUSB_ERROR_NOT_FOUND:
        throw TransportError(Failure::Gone, "The device is gone.");
    case LIBUSB_ERROR_IO:
        throw TransportError(Failure::Gone, "The bus lost the device during the request.");
    case LIBUSB_ERROR_ACCESS:
        throw TransportError(Failure::Access,
                             "No permission to open the device; run as root, or add "
                             "a udev rule for the device's node.");
    case LIBUSB_ERROR_BUSY:
        throw TransportError(Failure::Access, "Another program uses the device.");
    default:
        throw TransportError(Failure::Other,
                             std::string("USB failed: ") + libusb_strerror(error) + ".");
    }
}

int Check(int result) {
    if (result < 0) {
        Fail(result);
    }
    return result;
}

struct CloseHandle {
    void operator()(libusb_device_handle* handle) const { libusb_close(handle); }
};
using Handle = std::unique_ptr<libusb_device_handle, CloseHandle>;

/** The devices that are present now. */
class Snapshot {
public:
    explicit Snapshot(libusb_context* context) {
        const ssize_t size = libusb_get_device_list(context, &list);
        if (size < 0) {
            Fail(static_cast<int>(size));
        }
        count = static_cast<std::size_t>(size);
    }
    ~Snapshot() { libusb_free_device_list(list, 1); }
    Snapshot(const Snapshot&) = delete;
    Snapshot& operator=(const Snapshot&) = delete;
    std::span<libusb_device*> Devices() const { return {list, count}; }

private:
    libusb_device** list = nullptr;
    std::size_t count = 0;
};

Handle OpenDevice(libusb_device* device) {
    libusb_device_handle* handle = nullptr;
    Check(libusb_open(device, &handle));
    return Handle(handle);
}

/** The number of the vendor interface; none while the port is not configured. */
std::optional<int> VendorInterface(libusb_device* device) {
    libusb_config_descriptor* configuration = nullptr;
    if (libusb_get_active_config_descriptor(device, &configuration) < 0) {
        return std::nullopt;
    }
    const std::unique_ptr<libusb_config_descriptor, void (*)(libusb_config_descriptor*)> owner(
        configuration, libusb_free_config_descriptor);
    for (const libusb_interface& interface :
         std::span(configuration->interface, configuration->bNumInterfaces)) {
        const libusb_interface_descriptor& first = interface.altsetting[0];
        if (first.bInterfaceClass == LIBUSB_CLASS_VENDOR_SPEC && first.bInterfaceSubClass == 0 &&
            first.bInterfaceProtocol == 0) {
            return first.bInterfaceNumber;
        }
    }
    return std::nullopt;
}

class UsbTransport final : public Transport {
public:
    UsbTransport(Handle opened, unsigned timeoutMs)
        : handle(std::move(opened)), timeout(timeoutMs) {
        const auto interface = VendorInterface(libusb_get_device(handle.get()));
        if (!interface) {
            throw TransportError(Failure::None, "The device does not offer its service interface.");
        }
        // A reply depends on the selector set before, so two programs would disturb each other.
        Check(libusb_claim_interface(handle.get(), *interface));
    }

    std::size_t In(const Setup& setup, std::span<std::uint8_t> data) override {
        return static_cast<std::size_t>(
            Transfer(LIBUSB_ENDPOINT_IN, setup, data.data(), data.size()));
    }

    void Out(const Setup& setup, std::span<const std::uint8_t> data) override {
        std::vector<std::uint8_t> copy(data.begin(), data.end()); // libusb takes non-const data
        Transfer(LIBUSB_ENDPOINT_OUT, setup, copy.data(), copy.size());
    }

private:
    int Transfer(unsigned direction, const Setup& setup, std::uint8_t* data, std::size_t size) {
        const auto type =
            static_cast<std::uint8_t>(direction | LIBUSB_REQUEST_TYPE_VENDOR | setup.recipient);
        return Check(libusb_control_transfer(handle.get(), type, setup.request, setup.value,
                                             setup.index, data, static_cast<std::uint16_t>(size),
                                             timeout));
    }

    Handle handle;
    unsigned timeout;
};

std::string Text(libusb_device_handle* handle, std::uint8_t index) {
    std::string text(128, '\0');
    if (index == 0) {
        return {};
    }
    const int size = libusb_get_string_descriptor_ascii(
        handle, index, reinterpret_cast<unsigned char*>(text.data()),
        static_cast<int>(text.size()));
    if (size == LIBUSB_ERROR_IO) { // also for a text that is not in the form of the standard
        throw TransportError(Failure::Other, "The device's texts cannot be read.");
    }
    text.resize(static_cast<std::size_t>(Check(size)));
    return text;
}

DeviceInfo Describe(libusb_device* device, const libusb_device_descriptor& descriptor) {
    DeviceInfo info;
    info.bus = libusb_get_bus_number(device);
    info.address = libusb_get_device_address(device);
    info.vendor = descriptor.idVendor;
    info.product = descriptor.idProduct;
    try {
        const Handle handle = OpenDevice(device);
        info.manufacturer = Text(handle.get(), descriptor.iManufacturer);
        info.name = Text(handle.get(), descriptor.iProduct);
        info.portSerial = Text(handle.get(), descriptor.iSerialNumber);
    } catch (const TransportError& error) {
        info.manufacturer.clear();
        info.name.clear();
        info.portSerial.clear();
        info.problem = error.what();
    }
    return info;
}

} // namespace

UsbBus::~UsbBus() {
    if (context != nullptr) {
        libusb_exit(context);
    }
}

libusb_context* UsbBus::Context() {
    if (context == nullptr) {
        libusb_context* made = nullptr;
        Check(libusb_init(&made));
        context = made;
    }
    return context;
}

std::vector<DeviceInfo> UsbBus::List(std::uint16_t vendor) {
    std::vector<DeviceInfo> found;
    const Snapshot snapshot(Context());
    for (libusb_device* device : snapshot.Devices()) {
        libusb_device_descriptor descriptor{};
        Check(libusb_get_device_descriptor(device, &descriptor));
        if (descriptor.idVendor == vendor &&
            (descriptor.idProduct == smallModel || descriptor.idProduct == largeModel)) {
            found.push_back(Describe(device, descriptor));
        }
    }
    std::ranges::sort(found, {},
                      [](const DeviceInfo& info) { return std::pair(info.bus, info.address); });
    return found;
}

std::unique_ptr<Transport> UsbBus::Open(const DeviceInfo& device, unsigned timeoutMs) {
    const Snapshot snapshot(Context());
    for (libusb_device* candidate : snapshot.Devices()) {
        if (libusb_get_bus_number(candidate) == device.bus &&
            libusb_get_device_address(candidate) == device.address) {
            return std::make_unique<UsbTransport>(OpenDevice(candidate), timeoutMs);
        }
    }
    Fail(LIBUSB_ERROR_NO_DEVICE);
}

} // namespace vantorel::host
