// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Export.h"

namespace vantorel {

/**
 * A flag in the file "/tmp/var/firstboot". A firmware update sets it, so that the application can
 * treat the next start as the first one of the new firmware; the application clears it. A number
 * other than 0 counts as set. No operation throws: a failed read counts as not set, and a failed
 * write is not reported. Stateless, so thread-safe.
 */
class VANTOREL_EXPORT Firstboot {
public:
    Firstboot();
    virtual ~Firstboot();

    /** Sets the flag. */
    void Reset();
    /** Clears the flag. */
    void Clear();
    /** Reads the flag, and prints the file's text and the value. */
    bool Value() const;
};

} // namespace vantorel
