#pragma once

#include "vantorel/service/Export.h"

namespace vantorel {

/**
 * One flag in the file "/tmp/var/firstboot": set after a firmware update was written, so that the
 * application can treat the next start as the first of the new firmware, and cleared by it once it
 * has. A number other than 0 counts as set. Nothing here throws. Reentrant.
 */
class VANTOREL_EXPORT Firstboot {
public:
    Firstboot();
    virtual ~Firstboot();

    /** Sets the flag. */
    void Reset();
    /** Clears the flag. */
    void Clear();
    /** Reads the flag and prints what it found; no readable number means not set. */
    bool Value() const;
};

} // namespace vantorel
