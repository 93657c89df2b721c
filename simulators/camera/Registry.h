// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "Manager.h"

#include <mutex>
#include <vector>

namespace kirosim {

/** The existing managers. Tests use it to reach those that the code under test creates. */
class Registry {
public:
    static Registry& Instance();

    void Add(kirocamera_manager& manager);
    void Remove(kirocamera_manager& manager);
    /** The manager created last, or null. */
    kirocamera_manager* Latest() const;

private:
    mutable std::mutex mutex;
    std::vector<kirocamera_manager*> managers;
};

} // namespace kirosim
