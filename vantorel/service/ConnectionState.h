// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

namespace vantorel {

/** How the device is powered and connected. The numbers are printed in status lines. */
enum class ConnectionState {
    Undetermined = 0,   /**< before the first decision */
    Battery = 1,        /**< battery present, charger not online */
    BatteryCharger = 2, /**< battery present, charger online */
    NoHost = 3,         /**< neither at start-up, and no USB host configured the device */
    Host = 4,           /**< neither at start-up, and a USB host configured the device */
    NoBattery = 5,      /**< charger without a battery, or both gone while charging */
};

/** Whether a change is the first decision and found a battery. */
inline bool IsStartOnBattery(ConnectionState newState, ConnectionState oldState) {
    return oldState == ConnectionState::Undetermined &&
           (newState == ConnectionState::Battery || newState == ConnectionState::BatteryCharger);
}

} // namespace vantorel
