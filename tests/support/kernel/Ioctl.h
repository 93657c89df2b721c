// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "tests/support/ScriptedSys.h"

#include <cerrno>
#include <functional>
#include <map>
#include <utility>
#include <vector>

namespace vantorel::test {

/**
 * Replaces the drivers behind ioctl(): handles requests by number and records their order. A
 * request without a handler fails with ENOTTY, as in a driver that does not support it.
 */
class IoctlRecorder {
public:
    explicit IoctlRecorder(ScopedSys& sys) {
        sys->Ioctl = [this](int, unsigned long request, void* argument) {
            requests.push_back(request);
            const auto answer = answers.find(request);
            return answer == answers.end() ? FailWith(ENOTTY) : answer->second(argument);
        };
    }

    /** Sets the handler of a request: a function of its record that returns ioctl()'s result. */
    template <typename Record, typename Answer>
    void On(unsigned long request, Answer answer) {
        answers[request] = [answer](void* argument) {
            return answer(*static_cast<Record*>(argument));
        };
    }

    /** The same for a request whose argument is a number or unused, not a record. */
    void OnPlain(unsigned long request, std::function<int(void*)> answer) {
        answers[request] = std::move(answer);
    }

    std::vector<unsigned long> requests;

private:
    std::map<unsigned long, std::function<int(void*)>> answers;
};

} // namespace vantorel::test
