// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <cstddef>

#include <sys/types.h>

namespace vantorel {

/** What the control protocol needs from the function that it serves. Thread-bound. */
class SubiEndpoint {
public:
    virtual ~SubiEndpoint() = default;

    /**
     * Reads from endpoint zero, as read(): an event or the host's data. Reading 0 bytes stalls a
     * request for data from the device.
     */
    virtual ssize_t Read(void* data, std::size_t size) = 0;
    /**
     * Writes to endpoint zero, as write(): a reply. Writing 0 bytes stalls a request with data for
     * the device.
     */
    virtual ssize_t Write(const void* data, std::size_t size) = 0;

    /** The host wants the capture session started. */
    virtual void RequestSessionStart() = 0;
    /** The host wants the capture session stopped. */
    virtual void RequestSessionStop() = 0;
};

} // namespace vantorel
