// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

namespace kirosim {

/** Lets a thread end the poll() of another one. */
class WakeUp {
public:
    /** Throws std::system_error when there is no descriptor left. */
    WakeUp();
    ~WakeUp();
    WakeUp(const WakeUp&) = delete;
    WakeUp& operator=(const WakeUp&) = delete;

    /** Descriptor to poll for input. */
    int Descriptor() const { return descriptor; }
    void Signal();
    /** Clears all signals so far. */
    void Clear();

private:
    int descriptor;
};

} // namespace kirosim
