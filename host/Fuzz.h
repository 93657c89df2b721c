// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "host/Transport.h"

#include <cstdint>
#include <random>
#include <vector>

namespace vantorel::host {

/** A random vendor request. Standard requests are excluded: they could take the device off the bus.
 */
struct FuzzRequest {
    Setup setup;
    bool in = false;
    std::uint16_t length = 0;
    std::vector<std::uint8_t> data; ///< out: length bytes
    bool operator==(const FuzzRequest&) const = default;
};

/** Generates requests; a seed gives the same requests on every machine. */
class FuzzSource {
public:
    /** With reversedOnly, requests that the device accepts, each in the opposite direction. */
    explicit FuzzSource(std::uint64_t seed, bool reversedOnly = false)
        : random(seed), reversed(reversedOnly) {}
    FuzzRequest Next();

private:
    std::uint64_t Below(std::uint64_t bound) { return random() % bound; }
    std::uint16_t Length();
    void Fill(FuzzRequest& request);

    std::mt19937_64 random;
    bool reversed;
};

struct FuzzSummary {
    std::uint64_t answered = 0;
    std::uint64_t refused = 0;
    std::uint64_t silent = 0; ///< no answer within the time
    bool identityKept = false;
};

/** Number and kind of the requests, and their seed. */
struct FuzzPlan {
    std::uint64_t seed = 0;
    std::uint64_t count = 0;
    /**
     * Whether requests may start and stop the capture session. Each stop consumes one frame, so a
     * device that gets more stops than frames waits for a frame that may never come, and answers
     * nothing until then.
     */
    bool sessions = false;
    bool reversed = false; ///< known requests in the wrong direction only
};

/**
 * Sends random requests, compares the device's identity before and after, and restores the state
 * of the capture session.
 * @throws TransportError that names the request at which the device was lost or stopped answering
 * @throws DeviceError when the identity cannot be read
 */
FuzzSummary RunFuzz(Transport& transport, const FuzzPlan& plan);

} // namespace vantorel::host
