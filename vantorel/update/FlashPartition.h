// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Export.h"

#include <string>

namespace vantorel {

/**
 * One member of an update archive and the flash partition that it is written to. A value type;
 * reentrant.
 */
struct VANTOREL_EXPORT FlashPartition {
    std::string member;    /**< file name in the archive */
    std::string partition; /**< name of the MTD partition, unique in "/proc/mtd" */

    /**
     * Erases the partition, writes the member to it and verifies it with the flash copy tool.
     * Waits for the tool without a limit.
     * @param directory where the archive was unpacked, with a trailing slash
     * @throws Error EBADE for an unknown or empty partition, the tool's wait status when it fails,
     *         is killed or is missing, errno when no process can be started
     */
    void Write(const std::string& directory) const;
};

} // namespace vantorel
