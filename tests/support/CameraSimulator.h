// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <kirocamera_sim.h>

#include <sstream>
#include <string>
#include <vector>

namespace vantorel::test {

/** The camera simulator without its own threads, for one test. */
class ManualCamera {
public:
    ManualCamera() {
        kirocamera_sim_reset();
        kirocamera_sim_set_manual(1);
    }
    ~ManualCamera() { kirocamera_sim_reset(); }
    ManualCamera(const ManualCamera&) = delete;
    ManualCamera& operator=(const ManualCamera&) = delete;

    void Connect() { kirocamera_sim_event(nullptr, KIROCAMERA_EVENT_CONNECT, 0); }
    void Disconnect() { kirocamera_sim_event(nullptr, KIROCAMERA_EVENT_DISCONNECT, 0); }
    void Fail(kirocamera_error_t error) {
        kirocamera_sim_event(nullptr, KIROCAMERA_EVENT_ERROR, error);
    }
    kirocamera_error_t Frame() { return kirocamera_sim_frame(); }

    /** All calls of one SDK function, such as "kirocamera_set_display_mode(camera1, 4)". */
    std::vector<std::string> Calls(const std::string& function) const {
        std::string log(kirocamera_sim_get_log(nullptr, 0), '\0');
        kirocamera_sim_get_log(log.data(), static_cast<std::uint32_t>(log.size()));
        std::vector<std::string> calls;
        std::istringstream lines(log.c_str());
        for (std::string line; std::getline(lines, line);) {
            if (line.rfind(function + "(", 0) == 0) {
                calls.push_back(line);
            }
        }
        return calls;
    }
};

} // namespace vantorel::test
