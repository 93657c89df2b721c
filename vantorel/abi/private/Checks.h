#pragma once

#include <cstddef>
#include <cstring>
#include <type_traits>
#include <utility>

/**
 * Checks of what applications compiled earlier rely on: where the fields of the classes are, in
 * which order their bases stand, and which number each virtual operation has. To be used by
 * explicit instantiation, which may name private members.
 *
 * Pointers to members hold these numbers (Itanium C++ ABI), but not in constant expressions; so the
 * optimizer has to find that a call of a function that must not be called goes away. What is
 * checked here is therefore to be compiled with optimization.
 */
namespace vantorel::abi {

[[gnu::error("a class has another layout, or its virtual operations another order")]] void
Differs();

#ifdef __arm__
inline constexpr bool onDevice = true;
#else
inline constexpr bool onDevice = false; // other sizes; the order is the same
#endif

/** Of a field its offset, of a virtual operation the offset in the table (on x86 plus 1). */
template <typename Member>
inline std::ptrdiff_t Number(Member member) {
    std::ptrdiff_t number = 0;
    std::memcpy(&number, &member, sizeof(number));
    return number;
}

/**
 * Size of a class on the device, offset there of the first field named, and the order of the
 * fields. References cannot be named; the offset of what follows tells whether they are there.
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

/** The bases stand in this order, the first one at the beginning of the object. */
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

/** The virtual operations have consecutive numbers, counted from 0; a destructor takes two. */
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

} // namespace vantorel::abi
