#pragma once

#include "vantorel/logger/Logger.h"
#include "vantorel/service/UserInterfaceObserver.h"

/**
 * Saves the end of the log before the power goes: the log's last lines wait in memory for more of
 * them. To be registered before the observer that turns the device off.
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
