// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Export.h"
#include "vantorel/service/UniqueFd.h"

#include <string>

namespace vantorel {

/**
 * Base of every hardware class: a name, by which observers distinguish devices, and the open device
 * node or attribute, which the destructor closes.
 *
 * Thread-bound, where the derived class does not state otherwise.
 *
 * Descriptors are opened with O_CLOEXEC: a child that inherited the display or a bus would keep it
 * busy.
 */
class VANTOREL_EXPORT Device {
public:
    /** For a device that opens its files itself; Path() stays empty. */
    explicit Device(std::string deviceName);
    /**
     * Opens a device.
     * @param deviceName any name
     * @param devicePath the device node or attribute file
     * @param flags the access mode of open(), for instance O_RDONLY
     * @throws Error with the errno of a failed open
     */
    Device(std::string deviceName, std::string devicePath, int flags);
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;
    virtual ~Device();

    /** The name given at construction. Thread-safe. */
    const std::string& Name() const { return name; }
    /** The path given at construction. Thread-safe. */
    const std::string& Path() const { return path; }

protected:
    UniqueFd fd;      /**< of the device; empty when constructed from a name alone */
    std::string name; /**< see Name() */
    std::string path; /**< see Path() */
};

} // namespace vantorel
