// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/service/Service.h"

#include "vantorel/service/private/Sleep.h"

#include <cassert>
#include <exception>

namespace vantorel {

Service::Service(std::chrono::milliseconds pause) : interval(pause) {}

Service::~Service() = default;

void Service::Start() {
    if (running) {
        return;
    }
    thread = std::thread(ServiceThreadFunction, this);
    running = true;
}

void Service::Stop() {
    if (!running) {
        return;
    }
    assert(thread.get_id() != std::this_thread::get_id() && "a service cannot wait for itself");
    stop = true;
    thread.join();
    running = false;
}

void Service::TerminateIfJoinable() const noexcept {
    if (thread.joinable()) {
        std::terminate();
    }
}

void Service::ServiceThreadFunction(Service* service) {
    while (!service->stop) {
        SleepFor(service->interval);
        service->ServiceFunction();
    }
}

} // namespace vantorel
