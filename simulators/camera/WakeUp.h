// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

namespace kirosim {

/** Lets a thread end the poll() of another thread. */
class WakeUp {
public:
    /** Throws std::system_error when no descriptor is available. */
    WakeUp();
    ~WakeUp();
    WakeUp(const WakeUp&) = delete;
    WakeUp& operator=(const WakeUp&) = delete;

    /** Descriptor to poll for input. */
    int Descriptor() const { return descriptor; }
    void Signal();
    /** Clears all previous signals. */
    void Clear();

private:
    int descriptor;
};

} // namespace kirosim
