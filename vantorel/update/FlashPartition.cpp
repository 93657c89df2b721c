#include "vantorel/update/FlashPartition.h"

#include "vantorel/service/Error.h"
#include "vantorel/system/Tools.h"
#include "vantorel/system/private/ChildProcess.h"

#include <cerrno>

namespace vantorel {

void FlashPartition::Write(const std::string& directory) const {
    const std::string device = Tools::MtdOf(partition);
    if (device.empty()) {
        throw Error(EBADE);
    }
    // Any way to end but success counts, a signal too: a tool that the kernel killed for memory has
    // left half a partition, and the boot loader must not be pointed at it.
    const int status = RunAndWait(Applet({"flashcp", "-v", directory + member, device}));
    if (status != 0) {
        throw Error(status);
    }
}

} // namespace vantorel
