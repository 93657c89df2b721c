// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
/**
 * @file kirocamera_sim.h
 * Test interface of the camera simulator: what a test sets, triggers and reads back.
 *
 * All functions are thread-safe. Settings apply to the process. kirocamera_sim_event(),
 * kirocamera_sim_frame() and kirocamera_sim_command() use the manager created last, which must
 * exist until they return.
 */
#ifndef KIROCAMERA_SIM_H
#define KIROCAMERA_SIM_H

#include "kirocamera.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The simulator's own errors; kirocamera_error_get_str() describes them. */
enum {
    KIROCAMERA_SIM_ERROR_ARGUMENT = -1,     /**< null pointer or value out of range */
    KIROCAMERA_SIM_ERROR_DISCONNECTED = -2, /**< the camera is or was never connected */
    KIROCAMERA_SIM_ERROR_FORMAT = -3,       /**< the frame or session has no such format */
    KIROCAMERA_SIM_ERROR_SESSION = -4,      /**< session already running, or not running */
    KIROCAMERA_SIM_ERROR_RESOURCES = -5,    /**< no memory or no thread available */
    KIROCAMERA_SIM_ERROR_NO_RECEIVER = -6   /**< no callback is registered */
};

/** The native image. */
enum { KIROCAMERA_SIM_WIDTH = 160, KIROCAMERA_SIM_HEIGHT = 120, KIROCAMERA_SIM_HEADER_SIZE = 2048 };

/** Byte `index` of the default factory settings. */
#define KIROCAMERA_SIM_FACTORY_BYTE(index)                                                         \
    ((uint8_t)((index)*7u + ((uint32_t)(index) >> 8) * 13u + 5u))

/** The camera's identity; texts are zero-terminated. */
typedef struct {
    uint16_t roic_id;
    char chip_id[KIROCAMERA_TEXT_SIZE];
    char serial_number[KIROCAMERA_TEXT_SIZE];
    kirocamera_firmware_version_t firmware;
} kirocamera_sim_identity_t;

/** Resets every setting to its default and clears the call log. Does not change managers. */
void kirocamera_sim_reset(void);

/**
 * With 1, managers created from now on have no threads, no camera and no control FIFO, and do not
 * read the environment. Only the test generates events and frames, and simulated time advances by
 * one frame period per frame, so that images repeat exactly.
 */
void kirocamera_sim_set_manual(int manual);

void kirocamera_sim_get_identity(kirocamera_sim_identity_t* identity);
void kirocamera_sim_set_identity(const kirocamera_sim_identity_t* identity);
/** Null restores KIROCAMERA_SIM_FACTORY_BYTE. */
void kirocamera_sim_set_factory_settings(const uint8_t data[KIROCAMERA_FACTORY_SETTINGS_SIZE]);

/**
 * Makes an SDK function fail with `result`, without any other effect, until a call sets 0. Returns
 * an error when the SDK has no function of that name that returns a result.
 */
kirocamera_error_t kirocamera_sim_set_result(const char* function, kirocamera_error_t result);

/** Overwrites header bytes of every frame from the next one on. */
kirocamera_error_t kirocamera_sim_set_header(uint32_t offset, const void* bytes, uint32_t size);

/**
 * Delivers frames with this record from the next one on (its buffer pointer is ignored). The image
 * is resampled to this size as far as lines and pixels lie within the data. Null restores the
 * native record.
 */
kirocamera_error_t kirocamera_sim_set_geometry(const kiroframe_t* geometry);
/** Misaligns the frame buffer by 0 to 15 bytes. */
kirocamera_error_t kirocamera_sim_set_misalignment(uint32_t bytes);

/** The connected camera, or null. */
kirocamera_t* kirocamera_sim_get_camera(void);

/**
 * Delivers one event on the calling thread; an exception of the callback reaches the caller. A null
 * camera means a new camera for a connect event, otherwise the connected or else the latest one.
 * Connect and disconnect change the camera's state before the callback.
 */
kirocamera_error_t kirocamera_sim_event(kirocamera_t* camera, kirocamera_manager_event_t event,
                                        kirocamera_error_t error);

/**
 * Delivers one frame on the calling thread; an exception of the callback reaches the caller. Fails
 * when no session runs. Frames are delivered one at a time: a frame callback must not call it.
 */
kirocamera_error_t kirocamera_sim_frame(void);

/**
 * Executes a command line of the control FIFO: later, on the event thread; in manual mode on the
 * calling thread, before it returns.
 */
kirocamera_error_t kirocamera_sim_command(const char* line);

/**
 * Copies the SDK calls so far, one per line, as "kirocamera_set_display_mode(camera1, 4)", and
 * terminates the text with 0. Writes at most `size` bytes. Returns the size that the whole log
 * needs. The log keeps the last 1000 calls. kirocamera_frame_get_frame_by_format, called several
 * times per frame, is logged in manual mode only.
 */
uint32_t kirocamera_sim_get_log(char* text, uint32_t size);
void kirocamera_sim_clear_log(void);

#ifdef __cplusplus
}
#endif

#endif
