// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/update/FlashPartition.h"

#include "vantorel/service/Error.h"
#include "vantorel/system/Tools.h"
#include "vantorel/system/private/ChildProcess.h"

#include <cerrno>

namespace vantorel {

void FlashPartition::Write(const std::string& directory) const {
    // Every line contains the empty name: its device would be that of the first one.
    const std::string device = partition.empty() ? "" : Tools::MtdOf(partition);
    if (device.empty()) {
        throw Error(EBADE);
    }
    // A signal counts as a failure, too: a killed tool leaves half a partition, which the boot
    // loader must not boot.
    const int status = RunAndWait(Applet({"flashcp", "-v", directory + member, device}));
    if (status != 0) {
        throw Error(status);
    }
}

} // namespace vantorel
