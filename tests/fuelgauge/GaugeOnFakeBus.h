#pragma once

#include "tests/fuelgauge/FakeBus.h"
#include "tests/support/CapturedOutput.h"
#include "vantorel/fuelgauge/FuelGauge.h"

#include <algorithm>
#include <cerrno>
#include <optional>

namespace vantorel::test {

/** The file of a flash stream, in memory only; it is read in pieces and with interruptions. */
class StreamInMemory {
public:
    explicit StreamInMemory(ScopedSys& sys) {
        sys->Access = [this](const char* path, int) {
            return waits && path == file ? 0 : FailWith(ENOENT);
        };
        sys->Open = [this](const char* path, int flags, unsigned) {
            position = path == file ? 0 : position;
            return ::open("/dev/null", flags);
        };
        sys->Read = [this](int, void* buffer, std::size_t size) -> ssize_t {
            if (++reads % 2 == 1) {
                return FailWith(EINTR);
            }
            const std::size_t piece = std::min<std::size_t>(size, 1000);
            const std::size_t count = text.copy(static_cast<char*>(buffer), piece, position);
            position += count;
            return static_cast<ssize_t>(count);
        };
        sys->Unlink = [this](const char* path) {
            waits = waits && path != file;
            return 0;
        };
    }

    std::string text;
    bool waits = false;

private:
    const std::string file = "/tmp/var/update/bqfs";
    std::size_t position = 0;
    int reads = 0;
};

/** A fuel gauge on a bus that notes its transfers; its construction is not among them. */
struct GaugeOnFakeBus {
    GaugeOnFakeBus() {
        gauge.emplace("gauge", "/dev/null", "/dev/null", 3u);
        bus.Take();
    }

    CapturedOutput output;
    ScopedSys sys;
    FakeBus bus{sys};
    StreamInMemory stream{sys};
    std::optional<FuelGauge> gauge;
};

} // namespace vantorel::test
