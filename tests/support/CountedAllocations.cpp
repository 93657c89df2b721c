// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "tests/support/CountedAllocations.h"

#include <cstdlib>
#include <new>

namespace vantorel::test {

thread_local bool countAllocations = false;
std::atomic<int> allocations{0};

} // namespace vantorel::test

void* operator new(std::size_t size) {
    vantorel::test::allocations += vantorel::test::countAllocations ? 1 : 0;
    if (void* memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
