#pragma once

#include <VantorelUI.h>
#include <VantorelUI_sim.h>

#include <cstddef>
#include <string>
#include <vector>

namespace vantorel::test {

/** The UI simulator recording its calls, for the duration of one test. */
class RecordedUI {
public:
    RecordedUI() {
        vantorelui_sim_reset();
        vantorelui_sim_log(true);
    }
    ~RecordedUI() { vantorelui_sim_reset(); }
    RecordedUI(const RecordedUI&) = delete;
    RecordedUI& operator=(const RecordedUI&) = delete;

    /** The calls since the last question. */
    std::vector<vantorelui_sim_call_t> Calls() {
        std::vector<vantorelui_sim_call_t> calls;
        for (vantorelui_sim_call_t call; vantorelui_sim_log_get(next, &call); ++next) {
            calls.push_back(call);
        }
        return calls;
    }

    /** The names of those calls. */
    std::vector<std::string> Names() {
        std::vector<std::string> names;
        for (const auto& call : Calls()) {
            names.emplace_back(call.function);
        }
        return names;
    }

private:
    std::size_t next = 0;
};

} // namespace vantorel::test
