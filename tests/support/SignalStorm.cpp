// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Linked to every test program. With VANTOREL_TEST_SIGNALS=interrupt, a signal every 200
// microseconds interrupts each call that can be interrupted. With "restart", its handler is
// installed with SA_RESTART, as the library requires of applications.

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <string_view>

namespace {

struct SignalStorm {
    SignalStorm() noexcept {
        const char* kind = std::getenv("VANTOREL_TEST_SIGNALS");
        if (kind == nullptr) {
            return;
        }
        struct sigaction action {};
        action.sa_handler = [](int) {};
        action.sa_flags = std::string_view(kind) == "restart" ? SA_RESTART : 0;
        ::sigaction(SIGRTMIN, &action, nullptr);
        sigevent event{};
        event.sigev_notify = SIGEV_SIGNAL;
        event.sigev_signo = SIGRTMIN;
        timer_t timer{};
        const itimerspec period{{0, 200'000}, {0, 200'000}};
        if (::timer_create(CLOCK_MONOTONIC, &event, &timer) != 0 ||
            ::timer_settime(timer, 0, &period, nullptr) != 0) {
            std::abort();
        }
    }
};

const SignalStorm storm;

} // namespace
