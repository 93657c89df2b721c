#pragma once

#include "vantorel/service/Export.h"

namespace vantorel {

/** Anything that can be asked whether it is connected: a charger, a test fixture. */
class VANTOREL_EXPORT Connection {
public:
    /** @throws Error when the answer cannot be had */
    virtual bool IsConnected() = 0;
    virtual ~Connection() = default;
};

} // namespace vantorel
