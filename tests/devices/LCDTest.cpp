// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Cases that the kernel's display cannot produce on demand. tests/device/HardwareTest.cpp covers
// the others.

#include "vantorel/devices/LCD.h"

#include "tests/support/ErrorOf.h"
#include "tests/support/kernel/Drm.h"
#include "vantorel/devices/LCDService.h"

namespace vantorel {
namespace {

using testing::ElementsAre;

class LCDTest : public testing::Test {
protected:
    test::ScopedSys sys;
    test::FakeCard card{sys};
};

// The buffers are larger than the screen. A forked child with an inherited mapping would keep the
// display open, and the restarted application could not open it.
TEST_F(LCDTest, MapsWholeBuffersThatChildrenDoNotInherit) {
    card.size = 256 * 64;
    std::map<void*, std::size_t> kept; // not inherited by children
    sys->Madvise = [&](void* address, std::size_t size, int advice) {
        EXPECT_EQ(advice, MADV_DONTFORK);
        kept[address] = size;
        return 0;
    };
    {
        LCD lcd("lcd", "/dev/null");
        EXPECT_EQ(lcd.BitsPerPixel(), 8u);
        EXPECT_EQ(lcd.BytesPerPixel(), 4u);
        EXPECT_EQ(lcd.Stride(), 192u);
        EXPECT_EQ(card.mapped.at(lcd.BackBuffer()), card.size);
        EXPECT_EQ(kept, card.mapped);
    }
    EXPECT_TRUE(card.mapped.empty());
}

// The kernel releases framebuffers and buffers with the descriptor, after the master has gone.
TEST_F(LCDTest, SetsUpTheCardStepByStepAndOnlyGivesUpTheMasterAtItsEnd) {
    { LCD("lcd", "/dev/null"); }
    EXPECT_THAT(card.ioctls.requests,
                ElementsAre(drm::setMaster, drm::GetResources::number, drm::GetResources::number,
                            drm::GetConnector::number, drm::GetConnector::number,
                            drm::GetCrtc::number, drm::CreateDumbRequest::number,
                            drm::AddFramebufferRequest::number, drm::MapDumbRequest::number,
                            drm::CreateDumbRequest::number, drm::AddFramebufferRequest::number,
                            drm::MapDumbRequest::number, drm::SetCrtc::number, drm::dropMaster));
}

TEST_F(LCDTest, RefusesACardThatCannotShowAPicture) {
    const auto error = [] { return test::ErrorOf([] { LCD("lcd", "/dev/null"); }); };
    card.size = 48 * 4 * 64 - 1;
    EXPECT_EQ(error(), EINVAL);
    EXPECT_TRUE(card.mapped.empty());
    card.modes.clear();
    EXPECT_EQ(error(), EINVAL);
    card.crtcs.clear();
    EXPECT_EQ(error(), ENOENT);
    card.connectors.clear();
    EXPECT_EQ(error(), ENOENT);
}

struct Recorder final : LCDObserver {
    void OnLCDDraw(LCD& lcd, std::uint32_t* pixels) override {
        EXPECT_EQ(pixels, lcd.BackBuffer());
        drawn.push_back(pixels);
        if (drawn.size() == throwsAt) {
            throw Error(EIO);
        }
    }
    void OnLCDError(LCD&, Error& error) override { errors.push_back(error.Value()); }
    std::vector<std::uint32_t*> drawn;
    std::vector<int> errors;
    std::size_t throwsAt = 0;
};

TEST_F(LCDTest, DrawsIntoTheHiddenBufferAndWaitsOncePerFlip) {
    LCD lcd("lcd", "/dev/null");
    LCDService service(lcd);
    Recorder recorder;
    recorder.throwsAt = 4;
    service.AddObserver(recorder);
    EXPECT_EQ(card.shown, 50U);
    std::uint32_t* const second = lcd.BackBuffer();
    service.ServiceFunction();
    std::uint32_t* const first = lcd.BackBuffer();
    const auto working = std::exchange(sys->Ioctl, [](auto...) { return test::FailWith(EBUSY); });
    service.ServiceFunction();
    sys->Ioctl = working;
    service.ServiceFunction();                      // draws the failed frame again
    EXPECT_THROW(service.ServiceFunction(), Error); // the error of an observer
    EXPECT_NE(first, second);
    EXPECT_THAT(recorder.drawn, ElementsAre(second, first, first, second));
    EXPECT_THAT(recorder.errors, ElementsAre(EBUSY));
    EXPECT_EQ(card.eventsRead, 2);
    EXPECT_THAT(card.flips, ElementsAre(51, 50));
}

TEST_F(LCDTest, ReadsNothingAfterAWaitThatEndedWithoutAnEvent) {
    LCD lcd("lcd", "/dev/null");
    LCDService service(lcd);
    Recorder recorder;
    service.AddObserver(recorder);
    for (const int error : {EINTR, EIO}) {
        sys->Poll = [error](auto...) { return test::FailWith(error); };
        service.ServiceFunction();
    }
    EXPECT_EQ(card.eventsRead, 0) << "the read would block until an event";
    EXPECT_THAT(recorder.errors, ElementsAre(EIO));
}

// The driver loses an event, rejects flips for a while, and sends the event late or never.
TEST_F(LCDTest, ReportsALostEventAndShowsPicturesAgainWhenEventsCome) {
    LCD lcd("lcd", "/dev/null");
    for (const bool isSentLate : {false, true}) {
        LCDService service(lcd);
        Recorder recorder;
        service.AddObserver(recorder);
        card.losesEvents = true;
        service.ServiceFunction();
        service.ServiceFunction();
        EXPECT_THAT(recorder.errors, ElementsAre(ETIME, EBUSY));
        EXPECT_THAT(std::exchange(card.timeouts, {}), ElementsAre(1000, 100));
        card.losesEvents = card.isPending = false;
        card.eventsSent += isSentLate ? 1 : 0;
        recorder = {};
        card.flips.clear();
        // A late event ends the wait for the next flip, which is then still pending when the next
        // frame is drawn.
        service.ServiceFunction();
        card.isPending = isSentLate;
        service.ServiceFunction();
        card.isPending = false;
        for (int pictures = 0; pictures < 4; ++pictures) {
            service.ServiceFunction();
            EXPECT_EQ(card.eventsRead, card.eventsSent) << "each flip waits for its own event";
        }
        EXPECT_EQ(recorder.errors.size(), isSentLate ? 1U : 0U);
        EXPECT_EQ(card.flips.size() + recorder.errors.size(), recorder.drawn.size());
    }
}

TEST_F(LCDTest, EndsWhileAnEventIsLost) {
    LCD lcd("lcd", "/dev/null");
    LCDService service(lcd);
    card.losesEvents = true;
    service.Start();
    service.Stop();
}

} // namespace
} // namespace vantorel
