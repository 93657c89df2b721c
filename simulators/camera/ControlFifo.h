// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace kirosim {

/** A named pipe, read in whole lines. Failures are reported on stderr and do not throw. */
class ControlFifo {
public:
    using LineHandler = std::function<void(std::string_view)>;

    /** Creates the pipe unless it exists. */
    explicit ControlFifo(const std::string& name);
    /** Removes the pipe if this object created it. */
    ~ControlFifo();
    ControlFifo(const ControlFifo&) = delete;
    ControlFifo& operator=(const ControlFifo&) = delete;

    /** Descriptor to poll for input; -1 without a pipe. */
    int Descriptor() const { return descriptor; }
    /** Reads the available input and passes complete lines to `handler`, without line ends. */
    void Read(const LineHandler& handler);

private:
    void Append(std::string_view bytes, const LineHandler& handler);
    void Close();

    std::string path;
    int descriptor = -1;
    bool created = false;
    std::string line;
    bool overlong = false;
};

} // namespace kirosim
