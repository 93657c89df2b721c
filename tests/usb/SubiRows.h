#pragma once

#include "tests/usb/SubiTest.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <vector>

/**
 * What a host gets for each request, in one table: for a scripted endpoint zero, and for the
 * kernel's own with a real bus behind it.
 */
namespace vantorel::test {

inline constexpr std::uint32_t statusOk = 0;
inline constexpr std::uint32_t statusUnchanged = 0x30300; // set before every request of the table
inline constexpr std::uint32_t statusUnsupported = 0x50000;

inline constexpr kirocamera_sim_identity_t subiIdentity{
    0x1234, "0123456789AB", "KC-7", {{2, 5, 1, 38}}};

inline Bytes Factory(std::size_t begin, std::size_t size) {
    Bytes bytes;
    for (std::size_t i = begin; i < begin + size; ++i) {
        bytes.push_back(KIROCAMERA_SIM_FACTORY_BYTE(i));
    }
    return bytes;
}

/** The data of request 86. */
inline Bytes Range(unsigned words, unsigned offset, unsigned flag = 0) {
    Bytes data;
    for (const unsigned value : {words, offset, flag}) {
        data.push_back(static_cast<std::uint8_t>(value & 0xff));
        data.push_back(static_cast<std::uint8_t>(value >> 8));
    }
    return data;
}

struct SubiRow {
    int selector; // -1: none
    std::uint8_t request;
    std::size_t length;
    std::optional<Bytes> data; // from the host
    Outcome outcome;
    std::uint32_t status;
};

/** To be played in this order: some go on where the one before has stopped. */
inline std::vector<SubiRow> SubiRows() {
    constexpr std::uint32_t ok = statusOk;
    constexpr std::uint32_t unchanged = statusUnchanged;
    constexpr std::uint32_t unsupported = statusUnsupported;
    Bytes identity(66);
    std::ranges::copy(subiIdentity.chip_id, identity.begin());
    std::ranges::copy(subiIdentity.serial_number, identity.begin() + 16);
    identity[32] = 0x34;
    identity[33] = 0x12;
    identity[34] = 27;
    std::vector<SubiRow> rows = {
        {-1, 52, 2, {}, refusedIn, unsupported},
        {-1, 52, 2, Word(1), refusedOut, unsupported},
        {-1, 53, 4, {}, Reply({0, 3, 3, 0}), ok},
        {-1, 53, 2, {}, refusedIn, unchanged},
        {-1, 54, 12, {}, Reply({0xab, 0, 0x89, 0, 0x67, 0, 0x45, 0, 0x23, 0, 1, 0}), ok},
        {-1, 54, 11, {}, refusedIn, unchanged},
        {-1, 60, 4, Bytes(4), refusedOut, unchanged},
        {-1, 60, 2, Word(2), silence, ok},
        {-1, 61, 2, {}, Reply(Word(2)), ok},
        {-1, 61, 4, {}, refusedIn, unchanged},
        {-1, 62, 2, Word(7), silence, ok},
        {-1, 62, 3, Bytes(3), refusedOut, unchanged},
        {-1, 63, 2, {}, Reply(Word(8)), ok},
        {-1, 63, 1, {}, refusedIn, unchanged},
        {-1, 84, 2, Word(2), silence, unchanged},
        {-1, 84, 2, Word(3), refusedOut, unchanged},
        {-1, 84, 1, Bytes(1), refusedOut, unchanged},
        {-1, 85, 2, Word(17), silence, ok},
        {-1, 85, 4, Bytes(4), refusedOut, unchanged},
        {-1, 86, 8, Bytes(8), refusedOut, unchanged},
        {-1, 86, 6, Range(32, 0), silence, unchanged},
        {-1, 88, 32, {}, Reply(Factory(0, 32)), unchanged},
        {-1, 88, 32, {}, Reply(Factory(32, 32)), unchanged},
        {-1, 88, 32, {}, refusedIn, unchanged},            // nothing remains ...
        {-1, 88, 1, {}, Reply(Factory(64, 1)), unchanged}, // ... and half a word counts as none
        {-1, 86, 6, Range(2, 0), silence, unchanged},
        {-1, 88, 3, {}, Reply(Factory(0, 3)), unchanged},
        {-1, 88, 2, {}, Reply(Factory(2, 2)), unchanged},
        {-1, 86, 6, Range(0xffff, 2559), silence, unchanged},
        {-1, 88, 3, {}, refusedIn, unchanged}, // one byte behind the settings; uses nothing up
        {-1, 88, 2, {}, Reply(Factory(5118, 2)), unchanged},
        {-1, 88, 2, {}, refusedIn, unchanged},
        {-1, 86, 6, Range(0xffff, 0xffff), silence, unchanged},
        {-1, 88, 4096, {}, refusedIn, unchanged},
        {-1, 86, 6, Range(1, 5, 0x100), refusedOut, unchanged}, // and set all the same
        {-1, 88, 2, {}, Reply(Factory(10, 2)), unchanged},
        {-1, 89, 2, Word(7), silence, ok},
        {-1, 90, 2, Word(7), silence, ok},
        {-1, 91, 2, Word(7), silence, ok},
        {-1, 91, 0, Bytes{}, refusedOut, unchanged},
        {-1, 93, 64, {}, Reply(Factory(4884, 64)), ok},
        {-1, 93, 63, {}, refusedIn, unchanged},
        {0, 78, 35, {}, refusedIn, unchanged},
        {13, 78, 2, {}, refusedIn, unchanged},
        {17, 78, 2, {}, Reply(Word(2)), ok},
        {17, 78, 3, {}, refusedIn, unchanged},
        {18, 78, 2, {}, Reply({0, 2}), ok},
        {19, 78, 2, {}, Reply({0x34, 0x12}), ok},
        {21, 78, 64, {}, Reply(Factory(4884, 64)), ok},
        {23, 78, 66, {}, Reply(identity), ok},
        {23, 78, 64, {}, refusedIn, unchanged},
        {26, 78, 2, {}, Reply(Word(0)), ok},
        {28, 78, 2, {}, silence, unchanged},
        {0xffff, 78, 36, {}, silence, unchanged},
    };
    for (const int selector : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 15, 16, 20, 22, 24, 25, 27}) {
        rows.push_back({selector, 78, 2, {}, refusedIn, unsupported});
    }
    for (int request = 0; request < 256; ++request) {
        constexpr int known[] = {53, 54, 60, 61, 62, 63, 78, 84, 85, 86, 88, 89, 90, 91, 93};
        if (std::ranges::count(known, request) == 0) {
            rows.push_back({-1, static_cast<std::uint8_t>(request), 2, {}, refusedIn, unsupported});
        }
    }
    return rows;
}

/**
 * Plays the table to a host's end of the function.
 * @param expect gives what is to be seen of a row there
 * @param marked what is to be seen when the status word is set beforehand
 */
template <typename Host, typename Expect>
void CheckRows(Host& host, const Expect& expect, const Outcome& marked) {
    for (const SubiRow& row : SubiRows()) {
        SCOPED_TRACE(testing::Message() << "request " << int{row.request} << ", selector "
                                        << row.selector << ", length " << row.length);
        if (row.selector >= 0) {
            EXPECT_EQ(host.Out(85, Word(static_cast<unsigned>(row.selector))), silence);
        }
        EXPECT_EQ(host.Out(84, Word(3)), marked);
        EXPECT_EQ(row.data ? host.Out(row.request, row.length, row.data)
                           : host.In(row.request, row.length),
                  expect(row));
        EXPECT_EQ(host.Status(), row.status);
        EXPECT_EQ(host.Status(), statusOk) << "reading the status clears it";
    }
}

} // namespace vantorel::test
