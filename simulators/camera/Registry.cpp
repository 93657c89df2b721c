// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "Registry.h"

namespace kirosim {

Registry& Registry::Instance() {
    static Registry* const registry = new Registry; // never destroyed: threads may outlive main()
    return *registry;
}

void Registry::Add(kirocamera_manager& manager) {
    const std::lock_guard lock(mutex);
    managers.push_back(&manager);
}

void Registry::Remove(kirocamera_manager& manager) {
    const std::lock_guard lock(mutex);
    std::erase(managers, &manager);
}

kirocamera_manager* Registry::Latest() const {
    const std::lock_guard lock(mutex);
    return managers.empty() ? nullptr : managers.back();
}

} // namespace kirosim
