#pragma once

#include "tests/faults/Faults.h"

#include <span>

namespace vantorel::test {

struct Scenario {
    const char* name;
    void (*play)(Faults&);
    int kept; // by a run without failures
};

std::span<const Scenario> Scenarios();

} // namespace vantorel::test
