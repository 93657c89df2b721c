// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/service/private/Sys.h"

#include "vantorel/service/private/SysFunctions.h"

namespace vantorel::sys {

#define VANTOREL_DEFINE_SYSTEM_CALL(result, name, target, parameters, arguments)                   \
    result name parameters {                                                                       \
        return target arguments;                                                                   \
    }
VANTOREL_SYSTEM_CALLS(VANTOREL_DEFINE_SYSTEM_CALL)
#undef VANTOREL_DEFINE_SYSTEM_CALL

} // namespace vantorel::sys
