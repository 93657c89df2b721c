// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Prints the events of two buttons until the given number has arrived.
#include "vantorel/devices/Button.h"
#include "vantorel/devices/ButtonService.h"

#include <cstdlib>
#include <iostream>
#include <semaphore>
#include <string>

#include <unistd.h>

namespace {

class Follower final : public vantorel::ButtonObserver {
public:
    void OnButtonDown(vantorel::Button& button) override { Print(button.Name() + " down\n"); }
    void OnButtonUp(vantorel::Button& button) override { Print(button.Name() + " up\n"); }
    void OnButtonError(vantorel::Button& button, vantorel::Error& error) override {
        Print(button.Name() + ": " + error.ToString() + "\n");
    }
    void WaitForOne() { happened.acquire(); }

private:
    void Print(const std::string& line) {
        std::cout << line << std::flush;
        happened.release();
    }
    std::counting_semaphore<> happened{0};
};

} // namespace

int main(int argc, char** argv) {
    int events = argc > 1 ? std::atoi(argv[1]) : 2;
    try {
        // One input device may have many keys; each object filters its own by the key code.
        vantorel::Button power("power", "/dev/vantorel/buttons", 116);
        vantorel::Button torch("torch", "/dev/vantorel/buttons", 0x21e);
        vantorel::ButtonService powerService(power);
        vantorel::ButtonService torchService(torch);
        Follower follower;
        for (vantorel::ButtonService* service : {&powerService, &torchService}) {
            service->AddObserver(follower);
            service->Start();
        }
        std::cout << "press a button" << std::endl;
        for (; events > 0; --events) {
            follower.WaitForOne();
        }
        // Stopping a service that waits for a button would block until the next press.
        ::_exit(0);
    } catch (const vantorel::Error& error) {
        std::cerr << "button: " << error.ToString() << std::endl;
        return 1;
    }
}
