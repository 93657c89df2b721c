#pragma once

#include "host/Transport.h"

#include <cstdint>
#include <random>
#include <vector>

namespace vantorel::host {

/** A random vendor request. Standard requests are left out: they would take the bus itself down. */
struct FuzzRequest {
    Setup setup;
    bool in = false;
    std::uint16_t length = 0;
    std::vector<std::uint8_t> data; ///< out: length bytes
    bool operator==(const FuzzRequest&) const = default;
};

/** Draws requests; the same seed gives the same ones on every machine. */
class FuzzSource {
public:
    explicit FuzzSource(std::uint64_t seed) : random(seed) {}
    FuzzRequest Next();

private:
    std::uint64_t Below(std::uint64_t bound) { return random() % bound; }
    std::uint16_t Length();
    void Fill(FuzzRequest& request);

    std::mt19937_64 random;
};

struct FuzzSummary {
    std::uint64_t answered = 0;
    std::uint64_t refused = 0;
    std::uint64_t silent = 0; ///< no answer within the time
    bool identityKept = false;
};

/** What is tried, and how it is drawn. */
struct FuzzPlan {
    std::uint64_t seed = 0;
    std::uint64_t count = 0;
    /**
     * Whether the capture session is started and stopped on the way. Each stop waits for a picture
     * of its own, so a device that is told to stop more often than it has taken pictures waits for
     * one that may never come, and answers nothing meanwhile.
     */
    bool sessions = false;
};

/**
 * Sends random requests, compares the device's identity with what it was before, and puts the
 * capture session back into its state.
 * @throws TransportError that names the request at which the device was lost or fell silent
 * @throws DeviceError when the identity cannot be read
 */
FuzzSummary RunFuzz(Transport& transport, const FuzzPlan& plan);

} // namespace vantorel::host
