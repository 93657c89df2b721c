// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/fuelgauge/I2C.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include <linux/gpio.h>

namespace vantorel {

/**
 * The battery's fuel gauge, a chip of the bq27 series on an I2C bus.
 *
 * A gauge that does not acknowledge (ENXIO), for instance while it resets or is in ROM mode, reads
 * as 0; every other failed transfer throws Error with its errno. In ROM mode the gauge answers only
 * at another address, see IsBatteryConnected().
 *
 * Thread-safe for reading. Maintenance (Unseal(), Reset(), ROM mode and Update()) must not run
 * while other threads read.
 *
 * An application's test may derive a stand-in: ConnectionManager and FuelGaugeService use a gauge
 * through its virtual operations only, except for the service's call of IsUpdated(), which checks
 * the real file. See docs/wiring.md.
 */
class VANTOREL_EXPORT FuelGauge : public I2C {
public:
    /**
     * Opens the bus and requests a line of a GPIO chip (GPIO_V2_GET_LINE_IOCTL), which is driven
     * low for the life of the object.
     * @param deviceName the name, whose first 31 bytes also label the line
     * @param i2cDevice the bus
     * @param gpioChip the GPIO chip's character device
     * @param line the line's offset on the chip
     * @throws Error with the errno of the first step that fails
     */
    FuelGauge(std::string deviceName, std::string i2cDevice, const std::string& gpioChip,
              std::uint32_t line);
    ~FuelGauge() override;

    /** Returns the state of charge in percent. */
    virtual std::uint8_t Level();
    /** Returns the current in mA, negative while discharging. */
    virtual std::int16_t Current();
    /** Returns the voltage in volts. */
    virtual float Voltage();
    /** Returns the battery's temperature in degrees Celsius. */
    virtual float Temperature();

    /**
     * Whether a battery is connected. When the gauge does not acknowledge, it is probed at its
     * ROM-mode address, since an interrupted update leaves it in ROM mode; a gauge that answers
     * there counts as a battery. After such a probe the ROM-mode address stays set, whatever the
     * result, until Unseal(), EnterRomMode() or ExitRomMode() changes it.
     * @throws Error of the first transfer when it fails with an errno other than ENXIO
     */
    virtual bool IsBatteryConnected();

    /** Sends the gauge its maintenance keys. Takes a second. @throws Error of a transfer */
    void Unseal();
    /** Unseals and restarts the gauge. Takes a second. @throws Error of a transfer */
    virtual void Reset();
    /** Brings the gauge into ROM mode. Takes a second. @throws Error of a transfer */
    void EnterRomMode();
    /** Brings the gauge out of ROM mode. Takes four seconds. @throws Error of a transfer */
    void ExitRomMode();

    /** Called before every reading. Does nothing: a hook for boards that switch the thermistor. */
    void EnableThermistor();
    /** Called after every reading. Does nothing, like EnableThermistor(). */
    void DisableThermistor();

    /** Whether no flash stream waits in "/tmp/var/update/bqfs". */
    bool IsUpdated() const;

    /**
     * Plays the waiting flash stream line by line: writes, compares and waits. It ends at the first
     * line that fails, and reports that line's kind on standard output.
     * @throws Error of a transfer or of reading the file, std::logic_error for a line that cannot
     * be parsed, int 22 (EINVAL) for a compare that differs
     */
    void ExecuteFlashStream();

    /**
     * Brings the gauge into ROM mode, plays the waiting stream, brings the gauge out of ROM mode
     * and deletes the stream. Does nothing when no stream waits. A stream that fails is kept.
     * @throws what ExecuteFlashStream() and ExitRomMode() throw, and Error when the stream cannot
     *         be deleted
     */
    virtual void Update();

protected:
    /** A gauge without a bus, for a stand-in: each transfer throws Error with EBADF. */
    explicit FuelGauge(std::string deviceName) : I2C(std::move(deviceName)) {}

private:
    void WriteControl(std::uint16_t subcommand);
    bool ReadIfAcknowledged(std::uint8_t command, std::uint8_t* buffer, std::size_t length);
    std::optional<std::uint16_t> ReadWord(std::uint8_t command);

    gpio_v2_line_request request{};
    UniqueFd lineFd;
};

} // namespace vantorel
