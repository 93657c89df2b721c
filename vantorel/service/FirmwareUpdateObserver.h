// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Error.h"
#include "vantorel/service/Export.h"

#include <cstdint>

namespace vantorel {

class FirmwareUpdateManager;

/**
 * Receives what the FirmwareUpdateManager reports, on the manager's thread. An observer may be
 * thread-bound.
 *
 * An observer that throws when an archive is found, when the update begins or when it fails ends
 * the process. One that throws at another notification fails the update. At 100 percent and at
 * completion the variable that selects the slot is already set then.
 */
class VANTOREL_EXPORT FirmwareUpdateObserver {
public:
    /** The manager found an archive on the drive and copied it. */
    virtual void OnFirmwareUpdateFileFound(FirmwareUpdateManager& manager) = 0;
    /** The archive contains what an update needs. */
    virtual void OnFirmwareUpdateFileValid(FirmwareUpdateManager& manager) = 0;
    /** The manager is about to write to flash. */
    virtual void OnFirmwareUpdateBegin(FirmwareUpdateManager& manager) = 0;
    /** Writing has reached 25, 50, 75 or 100 percent. */
    virtual void OnFirmwareUpdateInProgress(FirmwareUpdateManager& manager,
                                            std::uint8_t percent) = 0;
    /** The new firmware runs at the next boot, unless a signal killed the tool that selects it. */
    virtual void OnFirmwareUpdateComplete(FirmwareUpdateManager& manager) = 0;
    /**
     * The update failed. The device keeps its old firmware, unless an observer threw at 100 percent
     * or at completion. A gauge stream that the archive contained stays for the next start on
     * battery, if it could be copied. The error is always 52 (EBADE).
     */
    virtual void OnFirmwareUpdateError(FirmwareUpdateManager& manager, Error& error) = 0;
    virtual ~FirmwareUpdateObserver() = default;
};

} // namespace vantorel
