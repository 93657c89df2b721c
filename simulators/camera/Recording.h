// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "ThermalScene.h"

#include <fstream>
#include <string>

namespace kirosim {

/**
 * Recordings are files of pictures, one after another without a header: 160 x 120 temperatures line
 * by line, each in hundredths of a degree Celsius, signed, 16 bits, little-endian.
 */
class Player {
public:
    /** Plays a file from its beginning; none when the path is empty. Reports a bad file. */
    void Open(const std::string& path);
    /** Reads the next picture, after the last one the first; false when none is played. */
    bool Read(Temperatures& picture);

private:
    std::ifstream file;
};

/** Appends pictures to a new file. */
class Recorder {
public:
    /** Ends the recording and begins another; none when the path is empty. Reports a failure. */
    void Open(const std::string& path);
    /** Does nothing without a recording; ends it, and reports that, when the medium is full. */
    void Write(const Temperatures& picture);

private:
    std::ofstream file;
};

} // namespace kirosim
