// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "benchmarks/Subject.h"

namespace vantorel::benchmarks {

void Sum::OnValue(std::uint32_t value) {
    sum += value;
}

} // namespace vantorel::benchmarks
