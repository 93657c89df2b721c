// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Sends arbitrary input events to a button, and lets the flips of a display succeed or fail
// arbitrarily.
//
// An input is a byte that selects the device, then one byte, or a byte and a record, for each step.

#include "tests/fuzz/Demand.h"
#include "tests/support/kernel/Drm.h"
#include "vantorel/devices/Button.h"
#include "vantorel/devices/ButtonService.h"
#include "vantorel/devices/LCD.h"
#include "vantorel/devices/LCDService.h"
#include "vantorel/service/Error.h"

#include <cstring>
#include <span>

#include <linux/input.h>

namespace {

using namespace vantorel;
using test::Demand;
using Bytes = std::span<const std::uint8_t>;

constexpr int key = KEY_POWER;

/** Thrown at the end of the input, where a button would wait. */
struct End {};

struct Presses final : ButtonObserver {
    void OnButtonUp(Button&) override { isDown = false; }
    void OnButtonDown(Button&) override { isDown = true; }
    void OnButtonError(Button&, Error&) override { ++errors; }
    bool isDown = false;
    int errors = 0;
};

/** The observer must know the state of the key at the end, even if events were dropped. */
void PlayButton(Bytes steps) {
    bool isDown = false;
    bool known = true; // whether the device has reported the state to the observer
    test::ScopedSys sys;
    sys->Nanosleep = [](auto...) { return 0; };
    sys->Poll = [&](pollfd* fds, nfds_t, int) {
        if (steps.empty()) {
            throw End();
        }
        fds->revents = steps[0] % 16 == 15 ? POLLIN | POLLERR : POLLIN;
        return steps[0] == 0xff ? test::FailWith(EIO) : 1;
    };
    sys->Ioctl = [&](int, unsigned long, void* keys) {
        const unsigned bit = isDown ? 1U << key % 8 : 0U;
        static_cast<unsigned char*>(keys)[key / 8] = static_cast<unsigned char>(bit);
        known = true;
        return 0;
    };
    sys->Read = [&](int, void* to, std::size_t size) -> ssize_t {
        auto& record = *static_cast<InputEventRecord*>(to);
        const std::uint8_t kind = steps[0];
        steps = steps.subspan(1);
        switch (kind % 4) {
        case 0: // the key is pressed or released
            isDown = kind >= 0x80;
            record = {0, 0, EV_KEY, key, isDown ? 1 : 0};
            break;
        case 1: // the same, but the kernel drops the event
            isDown = kind >= 0x80;
            known = false;
            record = {0, 0, EV_SYN, SYN_REPORT, 0};
            break;
        case 2:
            record = {0, 0, EV_SYN, SYN_DROPPED, 0};
            break;
        default: // any record, complete or short; an event of this key becomes a repetition
            std::memcpy(to, steps.data(), std::min(size, steps.size()));
            steps = steps.subspan(std::min(size, steps.size()));
            record.value = record.code == key ? 2 : record.value;
            known = known && (record.type != EV_SYN || record.code != SYN_DROPPED);
            return static_cast<ssize_t>(kind % size);
        }
        return static_cast<ssize_t>(size);
    };
    Button button("power", "/dev/null", key);
    ButtonService service(button);
    Presses presses;
    service.AddObserver(presses);
    try {
        for (;;) {
            if (!steps.empty() && steps[0] == 0xff) {
                const int before = presses.errors;
                service.ServiceFunction();
                Demand(presses.errors == before + 1);
                steps = steps.subspan(1);
            } else {
                service.ServiceFunction();
                Demand(!known || presses.isDown == isDown || presses.errors != 0);
            }
        }
    } catch (const End&) {
        Demand(!known || presses.isDown == isDown);
    }
}

struct Pictures final : LCDObserver {
    void OnLCDDraw(LCD& lcd, std::uint32_t* pixels) override { Demand(pixels == lcd.BackBuffer()); }
    void OnLCDError(LCD&, Error&) override { ++errors; }
    int errors = 0;
};

/** Once the card works again, the display must show frames, whatever happened to flips before. */
void PlayDisplay(Bytes steps) {
    test::ScopedSys sys;
    test::FakeCard card(sys);
    LCD lcd("lcd", "/dev/null");
    LCDService service(lcd);
    Pictures pictures;
    service.AddObserver(pictures);
    const auto poll = sys->Poll;
    for (const std::uint8_t step : steps) {
        card.losesEvents = (step & 1) != 0;
        card.isPending = (step & 2) != 0;
        card.eventsSent += (step & 4) != 0 && card.eventsSent <= card.eventsRead ? 1 : 0; // late
        const bool isInterrupted = (step & 8) != 0;
        sys->Poll = [&](pollfd* fds, nfds_t count, int timeout) {
            return isInterrupted ? test::FailWith(EINTR) : poll(fds, count, timeout);
        };
        service.ServiceFunction();
        Demand(card.eventsRead <= card.eventsSent); // a read without an event would block
    }
    sys->Poll = poll;
    card.losesEvents = card.isPending = false;
    service.ServiceFunction();
    pictures.errors = 0;
    card.flips.clear();
    for (int cycle = 0; cycle < 4; ++cycle) {
        service.ServiceFunction();
    }
    Demand(pictures.errors == 0 && card.flips.size() == 4);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > 0) {
        const Bytes steps(data + 1, size - 1);
        data[0] % 2 == 0 ? PlayButton(steps) : PlayDisplay(steps);
    }
    return 0;
}
