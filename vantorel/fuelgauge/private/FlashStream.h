// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <string>

namespace vantorel {

class I2C;

/**
 * The waiting flash stream, a text that reprograms the gauge. Each line writes registers, compares
 * them or waits. docs/gauge-streams.md describes the lines. Thread-bound.
 */
class FlashStream {
public:
    /** @param programmed borrowed for the life of the object */
    explicit FlashStream(I2C& programmed) : gauge(programmed) {}

    /**
     * Plays the whole stream. It ends at the first line that fails, and reports that line's kind on
     * standard output. Takes as long as the stream's waits.
     * @throws what FuelGauge::ExecuteFlashStream() documents
     */
    void Play();

private:
    void Write(const std::string& line);
    void Compare(const std::string& line);

    I2C& gauge;
};

} // namespace vantorel
