// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
/* A small but complete UI library: a grey screen that is white while the power button is down and
 * red when the board is too hot. docs/own-application.md describes how to build and start it. */
#include <VantorelUI.h>

#include <stdatomic.h>

enum { WIDTH = 480, HEIGHT = 640 };

/* Written by several threads, read by the display thread. */
static atomic_bool pressed;
static atomic_bool hot;

uint32_t* Render(void) {
    static uint32_t pixels[WIDTH * HEIGHT];
    const uint32_t colour = hot ? 0xd02020 : pressed ? 0xffffff : 0x405060;
    for (int i = 0; i < WIDTH * HEIGHT; ++i) {
        pixels[i] = colour;
    }
    return pixels;
}

void Button1Down(void) {
    pressed = true;
}
void Button1Up(void) {
    pressed = false;
}
void SetOverheatingState(bool overheating) {
    hot = overheating;
}

/* The library must define every function, or the application does not start. */
int GetTemperatureUnits(void) {
    return VANTORELUI_CELSIUS;
}
void RegisterUIEvent(int event, void (*handler)(void*), void* context) {
    (void)event, (void)handler, (void)context; /* raises no event */
}
void SelectSplashScreen(void) {}
void SelectTIScreen(void) {}
void SelectChargingScreen(void) {}
void SelectUpdateScreen(void) {}
void SelectErrorScreen(void) {}
void SetTemperatureUnits(int units) {
    (void)units;
}
void Button2Down(void) {}
void Button2Up(void) {}
void ButtonPinholeDown(void) {}
void ButtonPinholeUp(void) {}
void UpdateThermalImage(const uint8_t* pixels) {
    (void)pixels;
}
void SetBatteryState(uint8_t level) {
    (void)level;
}
void SetEnvironmentTemp(float celsius) {
    (void)celsius;
}
void SetReadoutTemp(float celsius) {
    (void)celsius;
}
void SetChipID(const char* text) {
    (void)text;
}
void SetSKU(const char* text) {
    (void)text;
}
void SetVersion(const char* text) {
    (void)text;
}
void SetDebugInfo(const char* text) {
    (void)text;
}
void SetUpdateProgress(uint8_t percent) {
    (void)percent;
}
void SetUpdateUploading(void) {}
void SetUpdateComplete(bool success) {
    (void)success;
}
