// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "ThermalScene.h"

#include <fstream>
#include <string>

namespace kirosim {

/**
 * A recording is a file of consecutive images without a header: 160 x 120 temperatures line by
 * line, each in hundredths of a degree Celsius, signed, 16 bits, little-endian.
 */
class Player {
public:
    /** Plays a file from its beginning, or none if the path is empty. Reports a bad file. */
    void Open(const std::string& path);
    /** Reads the next image; starts again after the last. Returns false when no file is played. */
    bool Read(Temperatures& picture);

private:
    std::ifstream file;
};

/** Appends images to a new file. */
class Recorder {
public:
    /** Ends the recording and starts another, or none if the path is empty. Reports a failure. */
    void Open(const std::string& path);
    /** Does nothing without a recording. Ends the recording with a report if the disk is full. */
    void Write(const Temperatures& picture);

private:
    std::ofstream file;
};

} // namespace kirosim
