// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Export.h"

#include <string>

namespace vantorel {

/**
 * The library's failure type: an errno-style number, thrown by value after a failed system call and
 * handed to the observers' error notifications by reference.
 *
 * It is not a std::exception, so a handler of those does not catch it. A few operations throw other
 * types: an int, or an exception of the standard library; their headers state which.
 *
 * No message text is attached; print ToString() where a failure is logged. Reentrant.
 */
class VANTOREL_EXPORT Error {
public:
    /** @param number in the platform's errno numbering */
    explicit Error(int number) : value(number) {}
    /** Copies the number. */
    Error(const Error&) = default;
    /** Copies the number. */
    Error& operator=(const Error&) = default;
    virtual ~Error();

    /** The number; the platform's errno numbering unless the thrower documents another one. */
    int Value() const { return value; }

    /**
     * The platform's text for the number. Not virtual: for an error with another numbering it
     * returns the text of the errno with the same number.
     */
    std::string ToString() const;

    /** Compares the numbers only; errors of different types with the same number are equal. */
    bool operator==(const Error& other) const { return value == other.value; }

private:
    int value;
};

} // namespace vantorel
