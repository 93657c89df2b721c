// Cases that the kernel's display cannot produce on demand; the rest:
// tests/device/HardwareTest.cpp.

#include "vantorel/devices/LCD.h"

#include "tests/devices/FakeCard.h"
#include "tests/support/ErrorOf.h"
#include "vantorel/devices/LCDService.h"

namespace vantorel {
namespace {

using testing::ElementsAre;

class LCDTest : public testing::Test {
protected:
    test::ScopedSys sys;
    test::FakeCard card{sys};
};

// The buffers are larger than the screen. A forked child that kept a mapping would keep the
// display, and the restarted application could not open it.
TEST_F(LCDTest, MapsWholeBuffersForItselfAlone) {
    card.size = 256 * 64;
    std::map<void*, std::size_t> kept; // from children
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
    EXPECT_EQ(card.ioctls.requests.front(), drm::setMaster);
    EXPECT_EQ(card.ioctls.requests.back(), drm::dropMaster);
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
        if (drawn.size() == 4) {
            throw Error(EIO);
        }
    }
    void OnLCDError(LCD&, Error&) override { ++errors; }
    std::vector<std::uint32_t*> drawn;
    int errors = 0;
};

TEST_F(LCDTest, IsDrawnIntoTheBufferThatIsNotOnScreenAndWaitedForOncePerFlip) {
    LCD lcd("lcd", "/dev/null");
    LCDService service(lcd);
    Recorder recorder;
    service.AddObserver(recorder);
    EXPECT_EQ(card.shown, 50U);
    std::uint32_t* const second = lcd.BackBuffer();
    service.ServiceFunction();
    std::uint32_t* const first = lcd.BackBuffer();
    const auto working = std::exchange(sys->Ioctl, [](auto...) { return test::FailWith(EBUSY); });
    service.ServiceFunction();
    sys->Ioctl = working;
    service.ServiceFunction();                      // draws the failed picture again
    EXPECT_THROW(service.ServiceFunction(), Error); // not the display's error
    EXPECT_NE(first, second);
    EXPECT_THAT(recorder.drawn, ElementsAre(second, first, first, second));
    EXPECT_EQ(recorder.errors, 1);
    EXPECT_EQ(card.eventsRead, 2);
    EXPECT_THAT(card.flips, ElementsAre(51, 50));
}

TEST_F(LCDTest, ReadsNothingAfterAWaitThatEndedWithoutAnEvent) {
    LCD lcd("lcd", "/dev/null");
    LCDService service(lcd);
    Recorder recorder;
    service.AddObserver(recorder);
    for (const auto& [result, error] : {std::pair{0, 0}, {-1, EINTR}, {-1, EIO}}) {
        sys->Poll = [ended = result, why = error](auto...) {
            return ended == 0 ? 0 : test::FailWith(why);
        };
        service.ServiceFunction();
    }
    EXPECT_EQ(card.eventsRead, 0) << "the read would wait for an event of its own";
    EXPECT_EQ(recorder.errors, 1);
}

} // namespace
} // namespace vantorel
