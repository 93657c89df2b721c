// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <chrono>

/**
 * All board and product settings of the application: hardware paths, object names and sensor
 * intervals. The paths below /dev/vantorel are links that the system image creates, so that this
 * file contains no bus or chip numbers.
 */
namespace board {

using std::chrono::milliseconds;

// Directories of attributes end with a slash.
inline constexpr const char* charger = "/sys/class/power_supply/vantorel-charger/";
inline constexpr const char* torch = "/sys/class/leds/vantorel-torch/";
inline constexpr const char* fuelGaugeBus = "/dev/vantorel/i2c";
inline constexpr const char* gpioChip = "/dev/vantorel/gpio";
inline constexpr unsigned fuelGaugeLine = 3; // lines 0 to 2 belong to the test fixture
inline constexpr const char* display = "/dev/vantorel/display";
inline constexpr const char* buttons = "/dev/vantorel/buttons";
inline constexpr const char* boardTemperature = "/dev/vantorel/temperature-board";
inline constexpr const char* processorTemperature = "/dev/vantorel/temperature-cpu";
inline constexpr const char* logDirectory = "/tmp/var/log/";
inline constexpr const char* spareLogDirectory = "/tmp/log/"; // lost at the next boot
inline constexpr const char* usbController = "dummy_udc.0";
inline constexpr const char* driveLabel = "VANTOREL";
inline constexpr unsigned driveSize = 64U << 20U; // room for an update archive

// Key codes of the input device: KEY_POWER, KEY_LIGHTS_TOGGLE, KEY_RESTART.
inline constexpr int powerKey = 116;
inline constexpr int torchKey = 0x21e;
inline constexpr int resetKey = 0x198;

// The user-interface manager identifies buttons and its thermometer by these names; the logger uses
// other names for its two thermometers.
inline constexpr const char* powerButtonName = "vantorel.button.power";
inline constexpr const char* torchButtonName = "vantorel.button.torch";
inline constexpr const char* resetButtonName = "vantorel.button.reset";
inline constexpr const char* boardThermometerName = "vantorel.thermometer.board";
inline constexpr const char* boardLogThermometerName = "thermometer.board";
inline constexpr const char* processorLogThermometerName = "thermometer.cpu";

// The size that the UI library draws; a display of another size would show a distorted image.
inline constexpr int screenWidth = 480;
inline constexpr int screenHeight = 640;

inline constexpr unsigned cameraDiscoveryMode = 0;
// After these times the device starts without a picture and without a camera. A flip whose event is
// lost is reported after a second.
inline constexpr milliseconds pictureWait{2000};
inline constexpr milliseconds cameraWait{5000};

inline constexpr milliseconds connectionInterval{500};
inline constexpr milliseconds thermometerInterval{1000};
inline constexpr milliseconds fuelGaugeInterval{1000};
inline constexpr milliseconds loggerInterval{5000};

} // namespace board
