// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include <kirocamera.h>

namespace vantorel {

/** The values of the connected camera, for the host. Plain data, reentrant. */
struct SubiIdentity {
    /** A text; without a zero when it fills all bytes. */
    using Text = std::array<char, KIROCAMERA_TEXT_SIZE>;
    /** The factory settings as the SDK returns them. */
    using FactorySettings = std::array<std::uint8_t, KIROCAMERA_FACTORY_SETTINGS_SIZE>;

    std::uint16_t roicId = 0;                 /**< of the sensor's readout circuit */
    Text chipId{};                            /**< identifies the sensor */
    Text serialNumber{};                      /**< of the camera */
    kirocamera_firmware_version_t firmware{}; /**< read, but no request returns it */
    FactorySettings factorySettings{};        /**< a host reads ranges of them */
};

/** A range of the factory settings, in 16-bit words, in the order in which a host sends it. */
struct SubiFactoryRange {
    std::uint16_t remaining = 0; /**< words that the host may still read */
    std::uint16_t offset = 0;    /**< of the next word */
    std::uint16_t flag = 0;      /**< a value other than 0 is refused */
};

/**
 * What the control protocol of USBGadgetSubi remembers between two requests. Applications do not
 * use it; it is part of the function's object. Thread-bound, except for the session's state, which
 * the camera's threads change as well.
 */
struct SubiState {
    std::uint32_t status = 0;                     /**< the outcome of the last request */
    std::atomic<std::uint16_t> captureSession{0}; /**< 1 while a session runs */
    std::uint16_t selector = 0;                   /**< of the data that the host reads next */
    SubiFactoryRange factoryRange; /**< what the host reads next of the factory settings */
    /**
     * A value other than 0 refuses request 93, the end of the factory settings. Nothing sets it.
     * Kept: the layout of the function's object contains it.
     */
    std::uint32_t factoryTailRefused = 0;
    std::int32_t kernelLogCount = 0;  /**< bytes of the piece below */
    std::array<char, 64> kernelLog{}; /**< the piece that the host reads next */
};

} // namespace vantorel
