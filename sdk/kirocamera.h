// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
/**
 * @file kirocamera.h
 * C interface of the camera SDK, as far as libVantorelSystem uses it.
 *
 * On a product the maker's closed library implements everything in the first section; elsewhere the
 * camera simulator does (simulators/camera). The accessors in the last section are the exception:
 * libVantorelSystem exports them for all users of a kiroframe_t.
 *
 * Results: 0 is success, failures are negative codes of the SDK's own numbering.
 */
#ifndef KIROCAMERA_H
#define KIROCAMERA_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Discovers cameras and reports them on its own thread. Opaque. */
typedef struct kirocamera_manager kirocamera_manager_t;
/** One connected camera. Valid from its connect event until its disconnect event returns. Opaque.
 */
typedef struct kirocamera kirocamera_t;
/** One captured frame in every format. Valid only during the frame callback. Opaque. */
typedef struct kirocamera_frame kirocamera_frame_t;

/** 0 on success, otherwise a negative code; kirocamera_error_get_str() describes it. */
typedef int32_t kirocamera_error_t;

/** What happened to a camera; ignore values that are not listed here. */
typedef int kirocamera_manager_event_t;
enum { KIROCAMERA_EVENT_CONNECT = 0, KIROCAMERA_EVENT_DISCONNECT = 1, KIROCAMERA_EVENT_ERROR = 2 };

/** The processed thermal image with its header; the only format that this system requests. */
enum { KIROCAMERA_FORMAT_DISPLAY = 0x80 };

/** The display processing that this system selects on every camera. */
enum { KIROCAMERA_DISPLAY_MODE_HANDHELD = 4 };

/** Firmware of the sensor core. */
typedef struct {
    uint8_t bytes[4]; /**< as the SDK returns them */
} kirocamera_firmware_version_t;

/** Size of the texts that kirocamera_get_chipid() and kirocamera_get_serial_number() fill. */
enum { KIROCAMERA_TEXT_SIZE = 16 };
/** Size of the block that kirocamera_get_factory_settings() fills. */
enum { KIROCAMERA_FACTORY_SETTINGS_SIZE = 5120 };

/**
 * Called when a camera connects, disconnects or fails, on an SDK thread. `error` is meaningful for
 * KIROCAMERA_EVENT_ERROR only.
 */
typedef void (*kirocamera_manager_event_callback_t)(kirocamera_t* camera,
                                                    kirocamera_manager_event_t event,
                                                    kirocamera_error_t error, void* user);

/**
 * Called for every frame, on another SDK thread than the one that delivers events, so an event
 * handler may wait for the next frame. Frames may arrive on several threads at once.
 */
typedef void (*kirocamera_frame_available_callback_t)(kirocamera_t* camera,
                                                      kirocamera_frame_t* frame, void* user);

/** Creates a manager that discovers cameras in the given mode. */
kirocamera_error_t kirocamera_manager_create(kirocamera_manager_t** manager,
                                             unsigned int discovery_mode);
/** Ends all callbacks and destroys the manager with its cameras. */
void kirocamera_manager_destroy(kirocamera_manager_t* manager);
/** Sets the receiver of events; reports cameras that are already present as connect events. */
kirocamera_error_t kirocamera_manager_register_event_callback(
    kirocamera_manager_t* manager, kirocamera_manager_event_callback_t callback, void* user);

/** Sets the receiver of the camera's frames. */
kirocamera_error_t kirocamera_register_frame_available_callback(
    kirocamera_t* camera, kirocamera_frame_available_callback_t callback, void* user);
/** Starts delivering frames that carry the given format. */
kirocamera_error_t kirocamera_capture_session_start(kirocamera_t* camera, uint32_t format);
/** Stops delivering frames. */
kirocamera_error_t kirocamera_capture_session_stop(kirocamera_t* camera);

/** Selects how the image of KIROCAMERA_FORMAT_DISPLAY is processed. */
kirocamera_error_t kirocamera_set_display_mode(kirocamera_t* camera, int mode);
/** Reads the sensor's mode. This system switches between 0 and 1 and leaves any other. */
kirocamera_error_t kirocamera_get_sensor_mode(kirocamera_t* camera, int* mode);
/** Sets the sensor's mode. This system sets 0 or 1. */
kirocamera_error_t kirocamera_set_sensor_mode(kirocamera_t* camera, int mode);
/** Switches the debug display on (1) or off (0). */
kirocamera_error_t kirocamera_set_debug_display_mode(kirocamera_t* camera, int mode);

/** Describes a code; never null; the text is static. */
const char* kirocamera_error_get_str(kirocamera_error_t error);

/** Reads the model of the read-out circuit; 1201 and 1402 identify the TCM150. */
kirocamera_error_t kirocamera_get_roic_id(kirocamera_t* camera, uint16_t* id);
/** Reads the sensor chip's identifier, hexadecimal text of 12 characters. */
kirocamera_error_t kirocamera_get_chipid(kirocamera_t* camera, char text[KIROCAMERA_TEXT_SIZE]);
/** Reads the camera's serial number as text. */
kirocamera_error_t kirocamera_get_serial_number(kirocamera_t* camera,
                                                char text[KIROCAMERA_TEXT_SIZE]);
/** Reads the sensor core's firmware version. */
kirocamera_error_t kirocamera_get_firmware_version(kirocamera_t* camera,
                                                   kirocamera_firmware_version_t* version);
/** Reads the calibration block written in the factory. */
kirocamera_error_t kirocamera_get_factory_settings(kirocamera_t* camera,
                                                   uint8_t data[KIROCAMERA_FACTORY_SETTINGS_SIZE]);

/**
 * One image of a frame in one format. The SDK lays it out for a 32-bit processor; packing to four
 * bytes keeps the pointer at offset 28 on a 64-bit development machine, too.
 */
#pragma pack(push, 4)
typedef struct {
    uint16_t width;        /**< pixels */
    uint16_t height;       /**< pixels */
    uint8_t channels;      /**< samples of a pixel */
    uint8_t pixel_depth;   /**< bits of a sample */
    uint8_t pixel_padding; /**< unused bits of a sample */
    uint8_t reserved0;     /**< ignored */
    uint16_t line_stride;  /**< bytes from one line to the next */
    uint16_t line_padding; /**< unused bytes at the end of a line */
    uint32_t pixel_size;   /**< bytes from one pixel to the next */
    uint32_t data_size;    /**< bytes of pixel data */
    uint32_t header_size;  /**< bytes of the header before the pixel data */
    uint32_t reserved1;    /**< ignored */
    uint8_t* buffer;       /**< the header, followed by the pixel data */
} kiroframe_t;
#pragma pack(pop)

/**
 * Returns the image of a frame in one format. The image belongs to the frame and is valid as long
 * as the frame is.
 */
kirocamera_error_t kirocamera_frame_get_frame_by_format(kirocamera_frame_t* frame, uint32_t format,
                                                        kiroframe_t** image);

/*
 * Accessors, implemented by libVantorelSystem. All are reentrant, accept a null frame and never
 * write. For a null frame they return 0 or null; kiroframe_is_empty() returns 1.
 */
uint32_t kiroframe_get_width(const kiroframe_t* frame);         /**< pixels */
uint32_t kiroframe_get_height(const kiroframe_t* frame);        /**< pixels */
uint32_t kiroframe_get_channels(const kiroframe_t* frame);      /**< samples of a pixel */
uint32_t kiroframe_get_pixel_depth(const kiroframe_t* frame);   /**< bits of a sample */
uint32_t kiroframe_get_pixel_padding(const kiroframe_t* frame); /**< unused bits of a sample */
uint32_t kiroframe_get_line_stride(const kiroframe_t* frame);   /**< bytes */
uint32_t kiroframe_get_line_padding(const kiroframe_t* frame);  /**< bytes */
uint32_t kiroframe_get_header_size(const kiroframe_t* frame);   /**< bytes */
uint8_t* kiroframe_get_header(const kiroframe_t* frame);        /**< start of the buffer */
uint32_t kiroframe_get_data_size(const kiroframe_t* frame);     /**< bytes */
uint8_t* kiroframe_get_data(const kiroframe_t* frame);          /**< first pixel */
/** First pixel of line y; null when there is no such line. */
uint8_t* kiroframe_get_row(const kiroframe_t* frame, uint32_t y);
/** Pixel x of line y; null when there is no such pixel. */
uint8_t* kiroframe_get_pixel(const kiroframe_t* frame, uint32_t x, uint32_t y);
/** 1 when a dimension, the channels or the pixel depth is 0. The pointer and the sizes are ignored.
 */
uint32_t kiroframe_is_empty(const kiroframe_t* frame);

#ifdef __cplusplus
}
#endif

#endif
