// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/fuelgauge/FuelGauge.h"

#include "vantorel/devices/private/GpioLines.h"
#include "vantorel/fuelgauge/private/FlashStream.h"
#include "vantorel/fuelgauge/private/FlashStreamFile.h"
#include "vantorel/service/Error.h"
#include "vantorel/service/private/LittleEndian.h"
#include "vantorel/service/private/OpenFile.h"
#include "vantorel/service/private/Sleep.h"
#include "vantorel/service/private/StatusLine.h"
#include "vantorel/service/private/Sys.h"
#include "vantorel/system/Tools.h"

#include <cerrno>
#include <cmath>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace vantorel {
namespace {

using namespace std::chrono_literals;

constexpr std::uint8_t normalAddress = 0x55;
constexpr std::uint8_t romAddress = 0x0B;

constexpr std::uint8_t commandControl = 0x00;
constexpr std::uint8_t commandTemperature = 0x06; // tenths of a kelvin
constexpr std::uint8_t commandVoltage = 0x08;     // mV
constexpr std::uint8_t commandFlags = 0x0A;
constexpr std::uint8_t commandLevel = 0x20;
constexpr std::uint8_t commandCurrent = 0x22;

constexpr std::uint16_t controlReset = 0x0041;
constexpr std::uint16_t controlRomMode = 0x0F00;
// The gauge accepts a key only as two words in this order, and the second key only after the
// first.
constexpr std::uint16_t unsealKey[] = {0x5C21, 0x1E47};
constexpr std::uint16_t fullAccessKey[] = {0xB4B4, 0xB4B4};

constexpr std::uint8_t flagBatteryDetected = 0x08;

/** Makes a transfer; returns false when the gauge does not acknowledge. Throws other errors. */
template <typename Transfer>
bool IsAcknowledged(Transfer transfer) {
    try {
        transfer();
        return true;
    } catch (const Error& error) {
        if (error.Value() != ENXIO) {
            throw;
        }
        return false;
    }
}

} // namespace

FuelGauge::FuelGauge(std::string deviceName, std::string i2cDevice, const std::string& gpioChip,
                     std::uint32_t line)
    : I2C(std::move(deviceName), std::move(i2cDevice), normalAddress) {
    PrepareLineRequest(request, Name(), {line}, GPIO_V2_LINE_FLAG_OUTPUT);
    const UniqueFd chip = OpenFile(gpioChip, O_RDWR);
    lineFd.Reset(RequestLines(chip, request));
}

FuelGauge::~FuelGauge() = default;

std::uint8_t FuelGauge::Level() {
    std::uint8_t level = 0;
    return ReadIfAcknowledged(commandLevel, &level, sizeof level) ? level : std::uint8_t{0};
}

std::int16_t FuelGauge::Current() {
    return static_cast<std::int16_t>(ReadWord(commandCurrent).value_or(0));
}

float FuelGauge::Voltage() {
    return static_cast<float>(ReadWord(commandVoltage).value_or(0) * 0.001);
}

float FuelGauge::Temperature() {
    const auto decikelvin = ReadWord(commandTemperature);
    return decikelvin ? std::fma(static_cast<float>(*decikelvin), 0.1f, -273.15f) : 0.0f;
}

bool FuelGauge::IsBatteryConnected() {
    std::uint8_t byte = 0;
    if (IsAcknowledged([&] { ReadRegister(commandFlags, &byte, sizeof byte); })) {
        return (byte & flagBatteryDetected) != 0;
    }
    try {
        // The address stays set on purpose: a gauge that an interrupted update left in ROM mode
        // answers only at this address. The operations that leave ROM mode set the normal address.
        SetAddress(romAddress);
        ReadRegister(commandControl, &byte, sizeof byte);
        return true;
    } catch (const Error&) {
        return false;
    }
}

void FuelGauge::Unseal() {
    SetAddress(normalAddress);
    for (const std::uint16_t word : unsealKey) {
        WriteControl(word);
    }
    for (const std::uint16_t word : fullAccessKey) {
        WriteControl(word);
    }
    SleepFor(1s);
}

void FuelGauge::Reset() {
    Unseal();
    // The gauge may restart before it acknowledges.
    static_cast<void>(IsAcknowledged([&] { WriteControl(controlReset); }));
}

void FuelGauge::EnterRomMode() {
    SetAddress(normalAddress);
    WriteControl(controlRomMode);
    SleepFor(1s);
}

void FuelGauge::ExitRomMode() {
    static constexpr std::uint8_t execute[] = {0x0F};
    static constexpr std::uint8_t checksum[] = {0x0F, 0x00};
    SetAddress(romAddress);
    WriteRegister(0x00, execute, sizeof execute);
    WriteRegister(0x64, checksum, sizeof checksum);
    SleepFor(4s);
    SetAddress(normalAddress);
}

void FuelGauge::EnableThermistor() {}

void FuelGauge::DisableThermistor() {}

bool FuelGauge::IsUpdated() const {
    return sys::Access(flashStreamFile, F_OK) != 0;
}

void FuelGauge::ExecuteFlashStream() {
    FlashStream(*this).Play();
}

void FuelGauge::Update() {
    if (IsUpdated()) {
        return;
    }
    bool unsealed = true;
    try {
        Unseal();
    } catch (...) {
        unsealed = false; // an interrupted update has left it in ROM mode already
    }
    if (unsealed) {
        try {
            EnterRomMode();
        } catch (...) {
            // A gauge that is not in ROM mode does not acknowledge the stream's first line.
        }
    }
    try {
        ExecuteFlashStream();
        ExitRomMode();
    } catch (...) {
        PrintStatus("FUEL GAUGE: FLASH UPDATE FAILED");
        throw;
    }
    Tools::Unlink(flashStreamFile);
}

void FuelGauge::WriteControl(std::uint16_t subcommand) {
    const std::uint8_t bytes[] = {static_cast<std::uint8_t>(subcommand & 0xff),
                                  static_cast<std::uint8_t>(subcommand >> 8)};
    WriteRegister(commandControl, bytes, sizeof bytes);
}

bool FuelGauge::ReadIfAcknowledged(std::uint8_t command, std::uint8_t* buffer, std::size_t length) {
    return IsAcknowledged([&] {
        EnableThermistor();
        ReadRegister(command, buffer, length);
        DisableThermistor();
    });
}

std::optional<std::uint16_t> FuelGauge::ReadWord(std::uint8_t command) {
    std::uint8_t bytes[2] = {};
    if (!ReadIfAcknowledged(command, bytes, sizeof bytes)) {
        return std::nullopt;
    }
    return LoadLe<std::uint16_t>(bytes);
}

} // namespace vantorel
