// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "tests/support/CameraSimulator.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/kernel/Endpoint.h"
#include "vantorel/camera/CameraManager.h"
#include "vantorel/usb/USBGadgetSubi.h"

#include <gtest/gtest.h>

namespace vantorel::test {

inline constexpr kirocamera_sim_identity_t subiIdentity{
    0x1234, "0123456789AB", "KC-7", {{2, 5, 1, 38}}};

/** Records the host's requests for the capture session since the last Take(). */
struct Wishes final : USBGadgetObserver {
    void OnUSBGadgetStopCaptureSessionRequest(USBGadget&) override { text += "stop "; }
    void OnUSBGadgetStartCaptureSessionRequest(USBGadget&) override { text += "start "; }
    void OnUSBGadgetError(USBGadget&, Error&) override { text += "error "; }
    std::string Take() { return std::exchange(text, ""); }

private:
    std::string text;
};

/** The vendor function on a fake endpoint zero; the test connects the camera. */
struct SubiDevice {
    explicit SubiDevice(const kirocamera_sim_identity_t& identity = subiIdentity) {
        kirocamera_sim_set_identity(&identity);
        manager.AddObserver(subi);
        manager.Start();
        subi.AddObserver(wishes);
    }
    ~SubiDevice() {
        if (up) {
            subi.OnRemove();
        }
    }

    void BringUp() {
        sdk.Connect();
        subi.OnAdd();
        up = true;
    }

    CapturedOutput output;
    FakeEndpoint endpoint;
    ManualCamera sdk;
    CameraManager manager{0};
    USBGadgetSubi subi{"subi", "udc.0"};
    Wishes wishes;
    bool up = false;
};

class SubiTest : public testing::Test, protected SubiDevice {};

inline Outcome Reply(Bytes bytes) {
    return {std::move(bytes), Stall::None};
}

inline const Outcome refusedIn{{}, Stall::In};
inline const Outcome refusedOut{{}, Stall::Out};
inline const Outcome silence{};

// Replies to request 53.
inline const Outcome ok = Reply({0, 0, 0, 0});
inline const Outcome marked = Reply({0, 3, 3, 0}); // set by request 84 with 3
inline const Outcome unsupported = Reply({0, 0, 5, 0});

template <typename Host>
Outcome Status(Host& host) {
    return host.In(53, 4);
}

/** Sends request 78 with this selector. */
template <typename Host>
Outcome Selected(Host& host, unsigned selector, std::size_t length) {
    EXPECT_EQ(host.Out(85, Word(selector)), silence);
    return host.In(78, length);
}

/** For the messages of failed expectations. */
inline void PrintTo(const Outcome& outcome, std::ostream* out) {
    *out << "stall " << static_cast<int>(outcome.stall) << ", reply "
         << testing::PrintToString(outcome.reply);
}

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
        std::ranges::copy(Word(value), std::back_inserter(data));
    }
    return data;
}

struct SubiRow {
    int selector; // -1: none
    std::uint8_t request;
    std::size_t length;
    std::optional<Bytes> data; // from the host
    Outcome outcome;
    Outcome status; // after the request; before it, the status is `marked`
};

/** A request with a fixed length is refused at any other length and does not change the status. */
inline void AddRowsOfWrongLength(std::vector<SubiRow>& rows) {
    struct Shape {
        int selector;
        std::uint8_t request;
        std::size_t length;
    };
    for (const auto& [selector, request, length] : {Shape{-1, 53, 4},
                                                    {-1, 54, 12},
                                                    {-1, 61, 2},
                                                    {-1, 63, 2},
                                                    {-1, 93, 64},
                                                    {0, 78, 36},
                                                    {13, 78, 4},
                                                    {17, 78, 2},
                                                    {18, 78, 2},
                                                    {19, 78, 2},
                                                    {21, 78, 64},
                                                    {23, 78, 66},
                                                    {26, 78, 2}}) {
        for (const std::size_t wrong : {length - 1, length + 1, 2 * length}) {
            rows.push_back({selector, request, wrong, {}, refusedIn, marked});
        }
    }
    for (const auto& [selector, request, length] : {Shape{-1, 60, 2},
                                                    {-1, 62, 2},
                                                    {-1, 84, 2},
                                                    {-1, 85, 2},
                                                    {-1, 86, 6},
                                                    {-1, 89, 2},
                                                    {-1, 90, 2},
                                                    {-1, 91, 2}}) {
        for (const std::size_t wrong : {length - 1, length + 1, 2 * length}) {
            rows.push_back({selector, request, wrong, Bytes(wrong), refusedOut, marked});
        }
    }
}

/**
 * The expected outcome of each request, for the fake endpoint zero and for the real one on a bus.
 * The order matters: some rows continue where the previous row stopped.
 */
inline std::vector<SubiRow> SubiRows() {
    Bytes identity(66);
    std::ranges::copy(subiIdentity.chip_id, identity.begin());
    std::ranges::copy(subiIdentity.serial_number, identity.begin() + 16);
    std::ranges::copy(Bytes{0x34, 0x12, 27}, identity.begin() + 32);
    std::vector<SubiRow> rows = {
        {-1, 52, 2, Word(1), refusedOut, unsupported},
        {-1, 53, 4, {}, marked, ok},
        {-1, 54, 12, {}, Reply({0xab, 0, 0x89, 0, 0x67, 0, 0x45, 0, 0x23, 0, 1, 0}), ok},
        {-1, 60, 2, Word(1), silence, ok},
        {-1, 60, 2, Word(2), silence, ok},
        {-1, 61, 2, {}, Reply(Word(2)), ok},
        {-1, 60, 2, Word(0), silence, ok},
        {-1, 61, 2, {}, Reply(Word(0)), ok},
        {-1, 63, 2, {}, Reply(Word(8)), ok},
        {-1, 84, 2, Word(2), silence, marked},
        {-1, 84, 2, Word(3), refusedOut, marked},
        {-1, 85, 2, Word(17), silence, ok},
        {-1, 86, 6, Range(16, 0), silence, marked},
        {-1, 88, 32, {}, Reply(Factory(0, 32)), marked},
        {-1, 88, 32, {}, refusedIn, marked}, // no words remain; half a word counts as zero
        {-1, 88, 1, {}, Reply(Factory(32, 1)), marked},
        {-1, 86, 6, Range(2, 0), silence, marked},
        {-1, 88, 3, {}, Reply(Factory(0, 3)), marked}, // uses up one word
        {-1, 88, 2, {}, Reply(Factory(2, 2)), marked},
        {-1, 88, 2, {}, refusedIn, marked},
        {-1, 86, 6, Range(0xffff, 1), silence, marked},
        {-1, 88, 514, {}, Reply(Factory(2, 514)), marked},
        {-1, 53, 0x104, {}, refusedIn, marked},
        {-1, 86, 6, Range(0xffff, 2559), silence, marked},
        {-1, 88, 3, {}, refusedIn, marked}, // one byte past the settings; consumes no word
        {-1, 88, 2, {}, Reply(Factory(5118, 2)), marked},
        {-1, 86, 6, Range(1, 5, 0x100), refusedOut, marked}, // refused, but still takes effect
        {-1, 88, 2, {}, Reply(Factory(10, 2)), marked},
        {-1, 93, 64, {}, Reply(Factory(4884, 64)), ok},
        {17, 78, 2, {}, Reply(Word(2)), ok},
        {18, 78, 2, {}, Reply({0, 2}), ok},
        {19, 78, 2, {}, Reply({0x34, 0x12}), ok},
        {21, 78, 64, {}, Reply(Factory(4884, 64)), ok},
        {23, 78, 66, {}, Reply(identity), ok},
        {26, 78, 2, {}, Reply(Word(0)), ok},
        {28, 78, 2, {}, silence, marked},
    };
    AddRowsOfWrongLength(rows);
    for (const std::uint8_t taken : Bytes{62, 89, 90, 91}) {
        rows.push_back({-1, taken, 2, Word(7), silence, ok});
    }
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

/** The requests for the capture session that the table causes. */
inline constexpr const char* subiRowsWishes = "start stop stop ";

/**
 * Sends the table's requests as a host.
 * @param expect returns the outcome that this host sees for a row
 */
template <typename Host, typename Expect>
void CheckRows(Host& host, const Expect& expect) {
    const SubiRow mark{-1, 84, 2, Word(3), refusedOut, marked};
    for (const SubiRow& row : SubiRows()) {
        SCOPED_TRACE(testing::Message() << "request " << int{row.request} << ", selector "
                                        << row.selector << ", length " << row.length);
        if (row.selector >= 0) {
            EXPECT_EQ(host.Out(85, Word(static_cast<unsigned>(row.selector))), silence);
        }
        EXPECT_EQ(host.Out(84, Word(3)), expect(mark));
        EXPECT_EQ(row.data ? host.Out(row.request, *row.data) : host.In(row.request, row.length),
                  expect(row));
        EXPECT_EQ(Status(host), row.status);
        EXPECT_EQ(Status(host), ok) << "reading the status clears it";
    }
}

} // namespace vantorel::test
