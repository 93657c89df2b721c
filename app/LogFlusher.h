// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/logger/Logger.h"
#include "vantorel/service/UserInterfaceObserver.h"

namespace app {

/**
 * Writes the log's buffered lines to the file before the device powers off. Register it before the
 * observer that turns off the device.
 */
class LogFlusher final : public vantorel::UserInterfaceObserver {
public:
    explicit LogFlusher(vantorel::Logger& flushed) : logger(flushed) {}

    void OnUserInterfacePowerOffRequest() override { logger.Flush(); }
    void OnUserInterfaceTorchOnRequest() override {}
    void OnUserInterfaceTorchOffRequest() override {}
    void OnUserInterfacePowerButtonDoubleClick() override {}
    void OnUserInterfaceTorchButtonDoubleClick() override {}

private:
    vantorel::Logger& logger;
};

} // namespace app
