// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
/**
 * @file VantorelUI_sim.h
 * The UI simulator's functions for tests, beyond the interface of the maker's UI library.
 *
 * Unless noted otherwise, any thread may call a function.
 */
#ifndef VANTORELUI_SIM_H
#define VANTORELUI_SIM_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Events beyond those of VantorelUI.h; raised only when a handler is registered for them. */
enum { VANTORELUI_SIM_EVENT_POWER_DOUBLE_CLICK = 4, VANTORELUI_SIM_EVENT_TORCH_DOUBLE_CLICK = 5 };

/** Values of vantorelui_sim_screen(). */
enum {
    VANTORELUI_SIM_SCREEN_NONE = 0, /**< no screen has been selected; Render() returns null */
    VANTORELUI_SIM_SCREEN_SPLASH = 1,
    VANTORELUI_SIM_SCREEN_TI = 2,
    VANTORELUI_SIM_SCREEN_CHARGING = 3,
    VANTORELUI_SIM_SCREEN_UPDATE = 4,
    VANTORELUI_SIM_SCREEN_ERROR = 5
};

int vantorelui_sim_screen(void); /**< the screen selected last */
int vantorelui_sim_width(void);  /**< of the image that Render() draws, in pixels */
int vantorelui_sim_height(void); /**< of the image that Render() draws, in pixels */

/**
 * Raises an event on the calling thread, as a button does. An exception of the handler reaches the
 * caller. Returns whether a handler is registered. Does not change the library's own state of torch
 * and units.
 */
bool vantorelui_sim_event(int event);

/** Restores the initial state. Must not run during Render() or UpdateThermalImage(). */
void vantorelui_sim_reset(void);

/** Makes Render() return this image (or null) instead of drawing. */
void vantorelui_sim_set_render_image(uint32_t* image);
/** Makes Render() draw again. */
void vantorelui_sim_clear_render_image(void);
/** Sets a hook that every Render() first calls on its thread; it may block. Null removes it. */
void vantorelui_sim_set_render_hook(void (*hook)(void* context), void* context);

/**
 * Replaces the clock of buttons and animations by one that starts at 0 and does not advance by
 * itself. Call it before the first button is pressed.
 */
void vantorelui_sim_use_manual_clock(void);
/**
 * Advances the replaced clock and waits until the handlers of all due events have returned. A
 * handler must not call it.
 */
void vantorelui_sim_advance_clock(uint32_t milliseconds);

/** One recorded call of a function of VantorelUI.h. */
typedef struct {
    char function[24];   /**< its name */
    char text[168];      /**< text argument, cut off if longer; otherwise empty */
    double number;       /**< numeric or boolean argument, or the event registered; otherwise 0 */
    const void* pointer; /**< the pixels or the context passed; otherwise null */
    long thread;         /**< kernel id of the calling thread */
} vantorelui_sim_call_t;

enum { VANTORELUI_SIM_LOG_CAPACITY = 1024 };

/** Starts an empty record of all calls, or ends recording. Recording is off at first. */
void vantorelui_sim_log(bool on);
/** Number of calls since the start; the log keeps only the last VANTORELUI_SIM_LOG_CAPACITY. */
size_t vantorelui_sim_log_count(void);
/** Copies one call, counted from the start; returns false when the log no longer contains it. */
bool vantorelui_sim_log_get(size_t index, vantorelui_sim_call_t* call);

#ifdef __cplusplus
}
#endif

#endif
