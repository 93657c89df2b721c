// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Writes some lines of the diagnostics log into a separate folder.
#include "vantorel/logger/Logger.h"
#include "vantorel/logger/LoggerService.h"
#include "vantorel/service/Error.h"

#include <cstdlib>
#include <iostream>
#include <semaphore>

namespace {

class Counter final : public vantorel::LoggerObserver {
public:
    void OnLoggerNewEntry(vantorel::Logger&, vantorel::LoggerEntry&) override { added.release(); }
    void OnLoggerError(vantorel::Logger&, vantorel::Error&) override {}
    std::counting_semaphore<> added{0};
};

} // namespace

int main(int argc, char** argv) {
    int lines = argc > 1 ? std::atoi(argv[1]) : 3;
    try {
        vantorel::Logger logger("/tmp/example-log/");
        vantorel::LoggerService service(logger, std::chrono::milliseconds(200));
        Counter counter;
        service.AddObserver(counter);
        // The log starts automatically when the device starts on battery.
        service.OnConnectionStateChanged(vantorel::ConnectionState::Battery,
                                         vantorel::ConnectionState::Undetermined);
        for (; lines > 0; --lines) {
            counter.added.acquire();
        }
        service.Stop();
    } catch (const vantorel::Error& error) {
        std::cerr << "log: " << error.ToString() << std::endl;
        return 1;
    }
}
