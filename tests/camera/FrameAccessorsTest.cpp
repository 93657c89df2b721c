#include <kirocamera.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <tuple>
#include <vector>

namespace {

class FrameAccessors : public testing::Test {
protected:
    FrameAccessors() {
        frame.width = 40000;
        frame.height = 3;
        frame.channels = 200;
        frame.pixel_depth = 14;
        frame.pixel_padding = 2;
        frame.line_stride = 60000;
        frame.line_padding = 5;
        frame.pixel_size = 2;
        frame.data_size = 180000;
        frame.header_size = 131;
        frame.buffer = bytes.data();
    }

    std::vector<std::uint8_t> bytes = std::vector<std::uint8_t>(131 + 180000);
    kiroframe_t frame{};
};

TEST_F(FrameAccessors, ReadEveryFieldAndAnswerZeroWithoutAFrame) {
    using Getter = std::uint32_t (*)(const kiroframe_t*);
    const std::tuple<const char*, Getter, std::uint32_t> fields[] = {
        {"width", kiroframe_get_width, 40000},
        {"height", kiroframe_get_height, 3},
        {"channels", kiroframe_get_channels, 200},
        {"pixel depth", kiroframe_get_pixel_depth, 14},
        {"pixel padding", kiroframe_get_pixel_padding, 2},
        {"line stride", kiroframe_get_line_stride, 60000},
        {"line padding", kiroframe_get_line_padding, 5},
        {"data size", kiroframe_get_data_size, 180000},
        {"header size", kiroframe_get_header_size, 131},
    };
    for (const auto& [name, get, expected] : fields) {
        EXPECT_EQ(get(&frame), expected) << name;
        EXPECT_EQ(get(nullptr), 0U) << name;
    }
}

TEST_F(FrameAccessors, FindHeaderRowsAndPixelsWithinThePicture) {
    EXPECT_EQ(kiroframe_get_header(&frame), bytes.data());
    EXPECT_EQ(kiroframe_get_data(&frame), bytes.data() + 131);
    EXPECT_EQ(kiroframe_get_row(&frame, 2), bytes.data() + 131 + 120000);
    EXPECT_EQ(kiroframe_get_row(&frame, 3), nullptr);
    EXPECT_EQ(kiroframe_get_pixel(&frame, 39999, 1), bytes.data() + 131 + 60000 + 79998);
    EXPECT_EQ(kiroframe_get_pixel(&frame, 40000, 0), nullptr);
    EXPECT_EQ(kiroframe_get_pixel(&frame, 0, 3), nullptr);
    EXPECT_EQ(kiroframe_get_header(nullptr), nullptr);
    EXPECT_EQ(kiroframe_get_data(nullptr), nullptr);
    EXPECT_EQ(kiroframe_get_row(nullptr, 0), nullptr);
    EXPECT_EQ(kiroframe_get_pixel(nullptr, 0, 0), nullptr);
    frame.buffer = nullptr;
    EXPECT_EQ(kiroframe_get_data(&frame), nullptr);
    EXPECT_EQ(kiroframe_get_pixel(&frame, 1, 1), nullptr);
}

TEST_F(FrameAccessors, CallAFrameEmptyByItsDimensionsAlone) {
    EXPECT_EQ(kiroframe_is_empty(nullptr), 1U);
    frame.buffer = nullptr;
    frame.data_size = 0;
    EXPECT_EQ(kiroframe_is_empty(&frame), 0U) << "pointer and size do not count";
    for (const auto clear :
         {+[](kiroframe_t& f) { f.width = 0; }, +[](kiroframe_t& f) { f.height = 0; },
          +[](kiroframe_t& f) { f.channels = 0; }, +[](kiroframe_t& f) { f.pixel_depth = 0; }}) {
        kiroframe_t empty = frame;
        clear(empty);
        EXPECT_EQ(kiroframe_is_empty(&empty), 1U);
    }
}

} // namespace
