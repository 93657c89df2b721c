#include "vantorel/devices/LCD.h"

#include "tests/devices/FakeCard.h"
#include "tests/support/ErrorOf.h"
#include "vantorel/devices/LCDService.h"

namespace vantorel {
namespace {

using testing::ElementsAre;
using testing::FieldsAre;

class LCDTest : public testing::Test {
protected:
    test::ScopedSys sys;
    test::FakeCard card{sys};
};

// The buffers are larger than the screen, connectors appear meanwhile. A forked child that kept a
// mapping would keep the display, too, and with it out of the reach of the application's next
// start.
TEST_F(LCDTest, SetsTheCardUpAndShowsTheFirstBuffer) {
    card.pitch = 256;
    card.size = 256 * 64;
    card.connectorsByThen = 20;
    std::map<void*, std::size_t> kept; // from children
    sys->Madvise = [&](void* address, std::size_t size, int advice) {
        EXPECT_EQ(advice, MADV_DONTFORK);
        kept[address] = size;
        return 0;
    };
    {
        LCD lcd("lcd", "/dev/null");
        EXPECT_EQ(lcd.Width(), 48);
        EXPECT_EQ(lcd.Height(), 64);
        EXPECT_EQ(lcd.BitsPerPixel(), 8u);
        EXPECT_EQ(lcd.BytesPerPixel(), 4u);
        EXPECT_EQ(lcd.Stride(), 192u);
        EXPECT_EQ(card.mapped.at(lcd.BackBuffer()), card.size);
        EXPECT_EQ(kept, card.mapped);
    }
    EXPECT_EQ(card.ioctls.requests.front(), drm::setMaster);
    EXPECT_EQ(card.ioctls.requests.back(), drm::dropMaster);
    // Height, width, bits and flags, then what the card answered; and what is made of them.
    EXPECT_THAT(card.created, ElementsAre(FieldsAre(64, 48, 32, 0, 40, 256, 16384),
                                          FieldsAre(64, 48, 32, 0, 41, 256, 16384)));
    EXPECT_THAT(card.framebuffers, ElementsAre(FieldsAre(50, 48, 64, 256, 32, 24, 40),
                                               FieldsAre(51, 48, 64, 256, 32, 24, 41)));
    EXPECT_THAT(card.offsets, ElementsAre(0x1'0002'8000, 0x1'0002'9000));
    EXPECT_EQ(card.shown.crtcId, 31u);
    EXPECT_EQ(card.shown.framebufferId, 50u);
    EXPECT_EQ(card.shown.modeValid, 1u);
    EXPECT_EQ(card.shown.mode.vrefresh, 60u);
    EXPECT_EQ(card.shown.countConnectors, 1u);
    EXPECT_EQ(card.shownConnector, 21u);
}

TEST_F(LCDTest, RefusesACardThatCannotShowAPicture) {
    const auto error = [] { return test::ErrorOf([] { LCD("lcd", "/dev/null"); }); };
    card.size = 48 * 4 * 64 - 1;
    EXPECT_EQ(error(), EINVAL);
    EXPECT_TRUE(card.offsets.empty()); // nothing was mapped
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
        pixels[48 * 64 - 1] = 0xffffff;
        drawn.push_back(pixels);
        if (throws) {
            throw Error(EIO);
        }
    }
    void OnLCDError(LCD&, Error&) override { ++errors; }
    std::vector<std::uint32_t*> drawn;
    int errors = 0;
    bool throws = false;
};

TEST_F(LCDTest, IsDrawnIntoTheBufferThatIsNotOnScreenAndWaitedForOncePerFlip) {
    LCD lcd("lcd", "/dev/null");
    LCDService service(lcd);
    Recorder recorder;
    service.AddObserver(recorder);
    std::uint32_t* const second = lcd.BackBuffer();
    service.ServiceFunction();
    std::uint32_t* const first = lcd.BackBuffer();
    EXPECT_NE(first, second);
    const auto working = std::exchange(sys->Ioctl, [](auto...) { return test::FailWith(EBUSY); });
    service.ServiceFunction();
    sys->Ioctl = working;
    service.ServiceFunction(); // draws once more what could not be shown
    EXPECT_THAT(recorder.drawn, ElementsAre(second, first, first));
    EXPECT_EQ(lcd.BackBuffer(), second);
    EXPECT_EQ(recorder.errors, 1);
    EXPECT_EQ(card.eventsRead, 2);
    EXPECT_THAT(card.flips, ElementsAre(FieldsAre(31, 51, 1, 0, 0), FieldsAre(31, 50, 1, 0, 0)));
    recorder.throws = true;
    EXPECT_THROW(service.ServiceFunction(), Error); // an error of its user's is none of the display
    EXPECT_EQ(recorder.errors, 1);
}

} // namespace
} // namespace vantorel
