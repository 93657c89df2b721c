// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <cstddef>
#include <cstring>
#include <type_traits>
#include <utility>

/**
 * Checks of what applications compiled earlier rely on: the offsets of fields, the order of bases,
 * the table slots of virtual operations, and noexcept. Use them by explicit instantiation, which
 * may name private members.
 *
 * abidiff finds the first three too, but only in the device's finished library, and it needs a
 * reference description of 3.9 MB. scripts/package runs it for a release; these checks run in
 * every build.
 *
 * Pointers to members hold these numbers (Itanium C++ ABI), but not in constant expressions. So the
 * checks rely on the optimizer: it must remove each call of Differs(). Compile them with
 * optimization.
 */
namespace vantorel::abi {

[[gnu::error("a class has a different layout, or its virtual operations a different order")]] void
Differs();

#ifdef __arm__
inline constexpr bool onDevice = true;
#else
inline constexpr bool onDevice = false; // the sizes differ, the order is the same
#endif

/** The offset of a field, or of a virtual operation in the table (plus 1 on x86). */
template <typename Member>
inline std::ptrdiff_t Number(Member member) {
    std::ptrdiff_t number = 0;
    std::memcpy(&number, &member, sizeof(number));
    return number;
}

/**
 * Size of a class on the device, offset there of the first named field, and the order of the
 * fields. References cannot be named; the offset of the next field shows whether they are present.
 */
template <typename Class, std::size_t size, std::ptrdiff_t offset, auto first, auto... others>
struct Fields {
    static_assert(!onDevice || sizeof(Class) == size);

    static void Check() {
        if (onDevice && Number(first) != offset) {
            Differs();
        }
        [[maybe_unused]] std::ptrdiff_t last = Number(first);
        ((Number(others) > last ? void(last = Number(others)) : Differs()), ...);
    }
};

/** The bases have this order, the first one at the beginning of the object. */
template <typename Class, typename... Bases>
struct Order {
    static void Check() {
        alignas(Class) char room[sizeof(Class)];
        auto* object = static_cast<Class*>(static_cast<void*>(room));
        std::ptrdiff_t last = -1;
        ((Offset<Bases>(object) > last ? void(last = Offset<Bases>(object)) : Differs()), ...);
    }

    template <typename Base>
    static std::ptrdiff_t Offset(Class* object) {
        return reinterpret_cast<char*>(static_cast<Base*>(object)) -
               reinterpret_cast<char*>(object);
    }
};

/** The virtual operations have consecutive slots, counted from 0; a destructor takes two. */
template <std::ptrdiff_t first, auto... operations>
struct Slots {
    static void Check() {
        std::ptrdiff_t expected = first;
        ((Number(operations) / static_cast<std::ptrdiff_t>(sizeof(void*)) == expected++
              ? void()
              : Differs()),
         ...);
    }
};

template <typename Operation>
inline constexpr bool isNoexcept = false;
template <typename Class, typename Result, typename... Parameters>
inline constexpr bool isNoexcept<Result (Class::*)(Parameters...) noexcept> = true;

/**
 * An exception that leaves one of these operations ends the process. The compiler relies on it in
 * their callers, and the supervisor restarts the application.
 */
template <auto... operations>
struct EndsTheProcess {
    static_assert((isNoexcept<decltype(operations)> && ...), "an operation has lost its noexcept");
};

} // namespace vantorel::abi
