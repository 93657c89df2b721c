#include "vantorel/devices/LCD.h"

#include "tests/devices/FakeCard.h"
#include "tests/support/ErrorOf.h"
#include "tests/support/OpenDescriptors.h"
#include "vantorel/devices/LCDService.h"
#include "vantorel/service/Error.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vantorel {
namespace {

using test::FailWith;

class LCDTest : public testing::Test {
protected:
    static int ErrorOfConstruction() {
        return test::ErrorOf([] { LCD("lcd", "/dev/null"); });
    }

    test::ScopedSys sys;
    test::FakeCard card{sys};
};

TEST_F(LCDTest, SetsTheCardUpInItsOrderAndShowsTheFirstBuffer) {
    const auto before = test::CountOpenDescriptors();
    {
        const LCD lcd("lcd", "/dev/null");
        EXPECT_EQ(lcd.Width(), 48);
        EXPECT_EQ(lcd.Height(), 64);
        EXPECT_EQ(lcd.BitsPerPixel(), 8u);
        EXPECT_EQ(lcd.BytesPerPixel(), 4u);
        EXPECT_EQ(lcd.Stride(), 192u);
    }
    EXPECT_THAT(card.ioctls.requests,
                testing::ElementsAre(0x641e, 0xc04064a0, 0xc04064a0, 0xc05064a7, 0xc05064a7,
                                     0xc06864a1, 0xc02064b2, 0xc01c64ae, 0xc01064b3, 0xc02064b2,
                                     0xc01c64ae, 0xc01064b3, 0xc06864a2, 0x641f));
    EXPECT_TRUE(card.mapped.empty());
    EXPECT_EQ(test::CountOpenDescriptors(), before);

    ASSERT_EQ(card.framebuffers.size(), 2u);
    for (std::uint32_t i = 0; i < 2; ++i) {
        EXPECT_EQ(card.created[i].width, 48u);
        EXPECT_EQ(card.created[i].height, 64u);
        EXPECT_EQ(card.created[i].bitsPerPixel, 32u);
        EXPECT_EQ(card.framebuffers[i].width, 48u);
        EXPECT_EQ(card.framebuffers[i].height, 64u);
        EXPECT_EQ(card.framebuffers[i].pitch, 192u);
        EXPECT_EQ(card.framebuffers[i].bitsPerPixel, 32u);
        EXPECT_EQ(card.framebuffers[i].depth, 24u);
        EXPECT_EQ(card.framebuffers[i].handle, 40 + i);
    }
    EXPECT_THAT(card.offsets, testing::ElementsAre(0x1'0002'8000, 0x1'0002'9000));
    EXPECT_EQ(card.shown.crtcId, 31u);
    EXPECT_EQ(card.shown.framebufferId, 50u);
    EXPECT_EQ(card.shown.modeValid, 1u);
    EXPECT_EQ(card.shown.mode.vrefresh, 60u);
    EXPECT_EQ(card.shown.countConnectors, 1u);
    EXPECT_EQ(card.shownConnector, 21u);
}

TEST_F(LCDTest, FailsWithTheFirstStepThatFailsAndKeepsNothing) {
    const auto before = test::CountOpenDescriptors();
    for (int step = 1; step <= 12; ++step) { // the step before, becoming master, may fail
        card.ioctls.FailAfter(step, ENODEV);
        EXPECT_EQ(ErrorOfConstruction(), ENODEV) << "step " << step;
        EXPECT_TRUE(card.mapped.empty()) << "step " << step;
    }
    card.refuseMapping = true;
    EXPECT_EQ(ErrorOfConstruction(), ENOMEM);
    EXPECT_EQ(test::CountOpenDescriptors(), before);
}

TEST_F(LCDTest, RefusesACardThatCannotShowAPicture) {
    card.size = 48 * 4 * 64 - 1;
    EXPECT_EQ(ErrorOfConstruction(), EINVAL);
    EXPECT_TRUE(card.offsets.empty()); // nothing was mapped
    card.modes.clear();
    EXPECT_EQ(ErrorOfConstruction(), EINVAL);
    card.crtcs.clear();
    EXPECT_EQ(ErrorOfConstruction(), ENOENT);
    card.connectors.clear();
    EXPECT_EQ(ErrorOfConstruction(), ENOENT);
}

TEST_F(LCDTest, TakesLargerBuffersAndConnectorsThatAppearMeanwhile) {
    card.pitch = 256;
    card.size = 256 * 64;
    card.connectorsByThen = 20;
    LCD lcd("lcd", "/dev/null");
    EXPECT_EQ(lcd.Stride(), 192u);
    EXPECT_EQ(card.framebuffers[0].pitch, 256u);
    EXPECT_EQ(card.mapped.at(lcd.BackBuffer()), card.size);
}

// A forked child that kept the mapping would keep the display, too, and with it out of the reach of
// the application's next start.
TEST_F(LCDTest, LeavesNoMappingToChildren) {
    std::map<void*, std::size_t> kept;
    sys->Madvise = [&](void* address, std::size_t size, int advice) {
        EXPECT_EQ(advice, MADV_DONTFORK);
        kept[address] = size;
        return 0;
    };
    const LCD lcd("lcd", "/dev/null");
    EXPECT_EQ(kept, card.mapped);
}

TEST_F(LCDTest, ShowsItsBuffersInTurn) {
    LCD lcd("lcd", "/dev/null");
    std::uint32_t* const second = lcd.BackBuffer();
    lcd.BackBuffer()[48 * 64 - 1] = 0xffffff;
    lcd.SwapBuffers();
    std::uint32_t* const first = lcd.BackBuffer();
    EXPECT_NE(first, second);
    lcd.BackBuffer()[48 * 64 - 1] = 0xffffff;

    card.ioctls.FailAfter(0, EBUSY);
    EXPECT_THROW(lcd.SwapBuffers(), Error);
    EXPECT_EQ(lcd.BackBuffer(), first);
    lcd.SwapBuffers();
    EXPECT_EQ(lcd.BackBuffer(), second);

    ASSERT_EQ(card.flips.size(), 2u);
    EXPECT_EQ(card.flips[0].framebufferId, 51u);
    EXPECT_EQ(card.flips[1].framebufferId, 50u);
    EXPECT_EQ(card.flips[1].crtcId, 31u);
    EXPECT_EQ(card.flips[1].flags, 1u);
}

class Recorder final : public LCDObserver {
public:
    void OnLCDDraw(LCD&, std::uint32_t* pixels) override { drawn.push_back(pixels); }
    void OnLCDError(LCD&, Error& error) override { errors.push_back(error.Value()); }
    std::vector<std::uint32_t*> drawn;
    std::vector<int> errors;
};

TEST_F(LCDTest, IsDrawnIntoTheBufferThatIsNotOnScreenAndWaitedForOncePerFlip) {
    LCD lcd("lcd", "/dev/null");
    LCDService service(lcd);
    Recorder recorder;
    service.AddObserver(recorder);
    std::uint32_t* const second = lcd.BackBuffer();
    service.ServiceFunction();
    std::uint32_t* const first = lcd.BackBuffer();
    card.ioctls.FailAfter(0, EBUSY);
    service.ServiceFunction(); // draws once more what could not be shown
    service.ServiceFunction();
    EXPECT_THAT(recorder.drawn, testing::ElementsAre(second, first, first));
    EXPECT_EQ(lcd.BackBuffer(), second);
    EXPECT_THAT(recorder.errors, testing::ElementsAre(EBUSY));
    EXPECT_EQ(card.eventsRead, 2);

    sys->Poll = [](pollfd* fds, nfds_t, int timeout) {
        EXPECT_EQ(fds->events, POLLIN);
        EXPECT_EQ(timeout, -1);
        return FailWith(EINTR);
    };
    service.ServiceFunction(); // the flip is on its way, so the next cycle has the other buffer
    EXPECT_EQ(lcd.BackBuffer(), first);
    EXPECT_EQ(recorder.errors.size(), 1u);
}

} // namespace
} // namespace vantorel
