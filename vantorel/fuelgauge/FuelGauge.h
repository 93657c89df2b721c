#pragma once

#include "vantorel/fuelgauge/I2C.h"

#include <cstdint>
#include <optional>
#include <string>

#include <linux/gpio.h>

namespace vantorel {

/**
 * The battery's fuel gauge, a chip of the bq27 series on an I2C bus.
 *
 * A gauge that does not acknowledge (ENXIO), as while it resets or is in ROM mode, reads as 0
 * throughout; every other failed transfer throws Error with its errno. While in ROM mode the gauge
 * answers only at another address, see IsBatteryConnected().
 *
 * Polled by several threads without a lock; maintenance (Unseal(), Reset() and the ROM mode) must
 * not run while others poll.
 */
class VANTOREL_EXPORT FuelGauge final : public I2C {
public:
    /**
     * Opens the bus and takes a line of a GPIO chip, which is driven low as long as the object
     * lives.
     * @param deviceName the name, whose first 31 bytes also label the line
     * @param i2cDevice the bus
     * @param gpioChip the GPIO chip's character device
     * @param line the line's offset on the chip
     * @throws Error with the errno of the first step that fails
     */
    FuelGauge(std::string deviceName, std::string i2cDevice, const std::string& gpioChip,
              std::uint32_t line);
    ~FuelGauge() override;

    /** State of charge in percent. */
    std::uint8_t Level();
    /** Current in mA, negative while discharging. */
    std::int16_t Current();
    /** Voltage in volts. */
    float Voltage();
    /** Battery temperature in degrees Celsius. */
    float Temperature();

    /**
     * Whether a battery is there. When the gauge does not acknowledge, it is looked for in ROM
     * mode, where an interrupted update of its flash has left it: a gauge found there has a
     * battery. The address is not set back afterwards, whatever was found; Unseal(), EnterRomMode()
     * and ExitRomMode() do that.
     */
    bool IsBatteryConnected();

    /** Opens the gauge for maintenance. Takes a second. */
    void Unseal();
    /** Restarts the gauge. Takes a second. */
    void Reset();
    /** Makes the gauge answer only at its ROM-mode address. Takes a second. */
    void EnterRomMode();
    /** Returns the gauge from ROM mode. Takes four seconds. */
    void ExitRomMode();

    /** Called before every reading; empty, a place for boards that switch the thermistor. */
    void EnableThermistor();
    /** Called after every reading; empty, too. */
    void DisableThermistor();

    /** Whether no flash stream waits in /tmp/var/update/bqfs to be written to the gauge. */
    bool IsUpdated() const;

    /**
     * Plays the waiting flash stream line by line: writes, compares and waits. The first line that
     * fails is reported on standard output and ends it.
     * @throws Error of a transfer or when there is no reading the file, std::logic_error for a line
     *         that makes no sense, int 22 (EINVAL) for a compare that differs
     */
    void ExecuteFlashStream();

    /**
     * The whole update: brings the gauge into ROM mode, plays the stream, leaves ROM mode and
     * deletes the stream; nothing when none waits. A failed update keeps the stream for the next
     * try.
     * @throws what ExecuteFlashStream() and the transfers throw
     */
    void Update();

private:
    void ExecuteWrite(const std::string& line);
    void ExecuteCompare(const std::string& line);
    void WriteControl(std::uint16_t subcommand);
    bool ReadIfAcknowledged(std::uint8_t command, std::uint8_t* buffer, std::size_t length);
    std::optional<std::uint16_t> ReadWord(std::uint8_t command);

    gpio_v2_line_request request{};
    UniqueFd lineFd;
};

} // namespace vantorel
