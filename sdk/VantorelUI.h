// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
/**
 * @file VantorelUI.h
 * C interface of the UI library, as far as libVantorelSystem uses it.
 *
 * On a product the maker's closed library implements it; elsewhere the UI simulator does
 * (simulators/ui). The library draws every screen. libVantorelSystem selects the screen, passes the
 * values to show, calls Render() and handles the library's events.
 *
 * Threads: the caller holds one lock while it calls UpdateThermalImage() or Render(). Several
 * threads may call the other functions at the same time.
 */
#ifndef VANTORELUI_H
#define VANTORELUI_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Events that the library raises, on the thread that handles its input or its rendering, or on one
 * of its own: the power-off of a button that is held down.
 */
enum {
    VANTORELUI_EVENT_TORCH_ON = 0,     /**< the user wants the torch switched */
    VANTORELUI_EVENT_TORCH_OFF = 1,    /**< the user wants the torch switched */
    VANTORELUI_EVENT_POWER_OFF = 2,    /**< the user wants the device off */
    VANTORELUI_EVENT_UNITS_CHANGED = 3 /**< the user chose other temperature units */
};

/** Values of SetTemperatureUnits() and GetTemperatureUnits(). */
enum { VANTORELUI_CELSIUS = 0, VANTORELUI_FAHRENHEIT = 1 };

/** Sets the one handler of an event; `context` is passed to it. */
void RegisterUIEvent(int event, void (*handler)(void* context), void* context);

void SelectSplashScreen(void);   /**< shown until the first frame */
void SelectTIScreen(void);       /**< the live thermal image */
void SelectChargingScreen(void); /**< the battery charges */
void SelectUpdateScreen(void);   /**< a USB host is attached; firmware may be updated */
void SelectErrorScreen(void);    /**< the device cannot run: there is no battery */

/** Chooses the units of every temperature shown. */
void SetTemperatureUnits(int units);
/** Returns the units in use. */
int GetTemperatureUnits(void);

void Button1Down(void);       /**< the power button went down */
void Button1Up(void);         /**< the power button went up */
void Button2Down(void);       /**< the torch button went down */
void Button2Up(void);         /**< the torch button went up */
void ButtonPinholeDown(void); /**< the reset button in its pinhole went down */
void ButtonPinholeUp(void);   /**< the reset button in its pinhole went up */

/**
 * Sets the newest thermal image (KIROCAMERA_FORMAT_DISPLAY): 160 x 120 grey levels, one byte each,
 * rows without padding. Copies it before it returns.
 */
void UpdateThermalImage(const uint8_t* pixels);
/**
 * Draws the current screen and returns it: pixels of 32 bits (0x00RRGGBB), rows without padding, in
 * the size of the display; null when there is nothing to show. The image belongs to the library and
 * is valid until the next call.
 */
uint32_t* Render(void);

/** Battery charge in percent. */
void SetBatteryState(uint8_t level);
/** Whether the overheating mark is shown. */
void SetOverheatingState(bool overheating);
/** Temperature of the surroundings, degrees Celsius. */
void SetEnvironmentTemp(float celsius);
/** Temperature of the spot in the middle of the image, degrees Celsius. */
void SetReadoutTemp(float celsius);

void SetChipID(const char* text);    /**< identity of the sensor chip; copied */
void SetSKU(const char* text);       /**< identity of the product; copied */
void SetVersion(const char* text);   /**< four-part version; copied */
void SetDebugInfo(const char* text); /**< diagnostics, lines separated by '\n'; copied */

/** Progress of a firmware update in percent. */
void SetUpdateProgress(uint8_t percent);
/** A firmware update is being written. */
void SetUpdateUploading(void);
/** A firmware update has succeeded or failed. */
void SetUpdateComplete(bool success);

#ifdef __cplusplus
}
#endif

#endif
