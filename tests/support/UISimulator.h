// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <VantorelUI.h>
#include <VantorelUI_sim.h>

#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

namespace vantorel::test {

/** The UI simulator, which records its calls, for one test. */
class RecordedUI {
public:
    RecordedUI() {
        vantorelui_sim_reset();
        vantorelui_sim_log(true);
    }
    ~RecordedUI() { vantorelui_sim_reset(); }
    RecordedUI(const RecordedUI&) = delete;
    RecordedUI& operator=(const RecordedUI&) = delete;

    /**
     * Returns the calls since the last Calls(), with the text or number passed and "*" for an
     * address: "SetBatteryState 42" or "UpdateThermalImage 0 *".
     */
    std::vector<std::string> Calls() {
        std::vector<std::string> calls;
        for (vantorelui_sim_call_t call; vantorelui_sim_log_get(next, &call); ++next) {
            std::ostringstream line;
            line << call.function << ' ';
            *call.text != '\0' ? line << call.text : line << call.number;
            calls.push_back(line.str() + (call.pointer != nullptr ? " *" : ""));
        }
        return calls;
    }

private:
    std::size_t next = 0;
};

} // namespace vantorel::test
