#pragma once

#include <cstdint>

/** What the notification benchmarks call, seen by them as an interface only. */
namespace vantorel::benchmarks {

class Listener {
public:
    virtual void OnValue(std::uint32_t value) = 0;
    virtual ~Listener() = default;
};

/** Adds values up; where it is implemented no caller can see. */
class Sum final : public Listener {
public:
    void OnValue(std::uint32_t value) override;

private:
    std::uint32_t sum = 0;
};

} // namespace vantorel::benchmarks
