#pragma once

#include "vantorel/service/Error.h"
#include "vantorel/service/Export.h"

#include <cstdint>

namespace vantorel {

class FirmwareUpdateManager;

/**
 * What the FirmwareUpdateManager reports, on its own thread.
 */
class VANTOREL_EXPORT FirmwareUpdateObserver {
public:
    /** An archive has been found on the drive and copied. */
    virtual void OnFirmwareUpdateFileFound(FirmwareUpdateManager& manager) = 0;
    /** The archive holds what an update needs. */
    virtual void OnFirmwareUpdateFileValid(FirmwareUpdateManager& manager) = 0;
    /** Flash is about to be written. */
    virtual void OnFirmwareUpdateBegin(FirmwareUpdateManager& manager) = 0;
    /** Writing has reached 25, 50, 75 or 100 percent. */
    virtual void OnFirmwareUpdateInProgress(FirmwareUpdateManager& manager,
                                            std::uint8_t percent) = 0;
    /** The new firmware runs at the next boot, unless a signal has killed the tool that says so. */
    virtual void OnFirmwareUpdateComplete(FirmwareUpdateManager& manager) = 0;
    /**
     * The update has ended; the firmware stays, but a gauge stream of the archive has been kept. An
     * observer that throws at 100 percent or at the completion ends it so, too, when the variable
     * that selects the slot is set already. The error is always 52 (EBADE), whatever the cause was.
     */
    virtual void OnFirmwareUpdateError(FirmwareUpdateManager& manager, Error& error) = 0;
    virtual ~FirmwareUpdateObserver() = default;
};

} // namespace vantorel
