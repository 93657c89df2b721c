// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <cstdint>

/** The target of the notification benchmarks, which know only its interface. */
namespace vantorel::benchmarks {

class Listener {
public:
    virtual void OnValue(std::uint32_t value) = 0;
    virtual ~Listener() = default;
};

/** Adds values; callers cannot see the implementation. */
class Sum final : public Listener {
public:
    void OnValue(std::uint32_t value) override;

private:
    std::uint32_t sum = 0;
};

} // namespace vantorel::benchmarks
