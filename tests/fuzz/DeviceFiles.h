#pragma once

#include "tests/support/ScriptedSys.h"
#include "tests/support/TextFiles.h"

namespace vantorel::test {

/** The device's small files, in memory only. */
class DeviceFiles : public TextFiles {
public:
    DeviceFiles() {
        sys->Open = [this](const char* path, int flags, unsigned) { return Open(path, flags); };
        sys->Mkdir = [](const char*, mode_t) { return 0; };
        Write("/etc/kiro/version", "4.2\n");
        Write("/etc/kiro/revision", "REV-6\n");
    }

private:
    ScopedSys sys;
};

} // namespace vantorel::test
