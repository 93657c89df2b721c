// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
/** One notification by a Qt signal, in a separate file for Qt's own compiler. */
#include "benchmarks/Subject.h"

#include <benchmark/benchmark.h>

#include <QObject>

#include <deque>

namespace {

using vantorel::benchmarks::Listener;
using vantorel::benchmarks::Sum;

class Emitter final : public QObject {
    Q_OBJECT
signals:
    void Changed(quint32 value);
};

void Qt(benchmark::State& state) {
    std::deque<Sum> sums(static_cast<std::size_t>(state.range(0)));
    Emitter emitter;
    for (Sum& sum : sums) {
        Listener* const observer = &sum;
        QObject::connect(&emitter, &Emitter::Changed,
                         [observer](quint32 value) { observer->OnValue(value); });
    }
    quint32 value = 0;
    for (auto _ : state) {
        emit emitter.Changed(++value);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(Qt)->Arg(1)->Arg(4)->Arg(16);

} // namespace

#include "QtSignal.moc"
