#include "benchmarks/Subject.h"

namespace vantorel::benchmarks {

void Sum::OnValue(std::uint32_t value) {
    sum += value;
}

} // namespace vantorel::benchmarks
