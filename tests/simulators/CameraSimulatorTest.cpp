#include "tests/support/CameraSimulator.h"

#include <FramePacer.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vantorel::test::ManualCamera;

/** A frame as an application would keep it. */
struct Picture {
    std::vector<std::uint8_t> header;
    std::vector<std::uint8_t> pixels;

    template <typename Value>
    Value At(std::size_t offset) const {
        Value value;
        std::memcpy(&value, header.data() + offset, sizeof(value));
        return value;
    }
    std::uint8_t Grey(std::size_t x, std::size_t y) const { return pixels[y * 160 + x]; }
    int Contrast() const {
        const auto [low, high] = std::minmax_element(pixels.begin(), pixels.end());
        return *high - *low;
    }
    /** Different greys on the wall below the ceiling, left of the window. */
    std::size_t WallGreys() const {
        std::set<std::uint8_t> greys;
        for (std::size_t y = 1; y < 12; ++y)
            for (std::size_t x = 1; x < 90; ++x)
                greys.insert(Grey(x, y));
        return greys.size();
    }
};

/** An application with one camera, in manual mode. */
class CameraSimulatorTest : public testing::Test {
protected:
    CameraSimulatorTest() {
        EXPECT_EQ(kirocamera_manager_create(&manager_, 3), 0);
        kirocamera_manager_register_event_callback(manager_, OnEvent, this);
        manual_.Connect();
        camera_ = kirocamera_sim_get_camera();
        kirocamera_register_frame_available_callback(camera_, OnFrame, this);
    }
    ~CameraSimulatorTest() override { kirocamera_manager_destroy(manager_); }

    static void OnEvent(kirocamera_t* camera, kirocamera_manager_event_t event,
                        kirocamera_error_t error, void* user) {
        auto& test = *static_cast<CameraSimulatorTest*>(user);
        test.events_.push_back(std::to_string(event) + " " + std::to_string(error));
        test.eventCamera_ = camera;
        if (test.throwing_)
            throw std::runtime_error("event");
    }

    static void OnFrame(kirocamera_t* camera, kirocamera_frame_t* frame, void* user) {
        auto& test = *static_cast<CameraSimulatorTest*>(user);
        EXPECT_EQ(camera, kirocamera_sim_get_camera());
        ASSERT_EQ(kirocamera_frame_get_frame_by_format(frame, 0x80, &test.image_), 0);
        kiroframe_t* other = nullptr;
        EXPECT_LT(kirocamera_frame_get_frame_by_format(frame, 0x81, &other), 0);
        EXPECT_EQ(other, nullptr);
        const std::uint8_t* const header = test.image_->buffer;
        const std::uint8_t* const data = header + test.image_->header_size;
        test.last_.header.assign(header, data);
        test.last_.pixels.assign(data, data + test.image_->data_size);
        if (test.throwing_)
            throw std::runtime_error("frame");
    }

    const Picture& Frame(int count = 1) {
        for (; count > 0; --count)
            EXPECT_EQ(kirocamera_sim_frame(), 0);
        return last_;
    }
    void Start() { ASSERT_EQ(kirocamera_capture_session_start(camera_, 0x80), 0); }

    ManualCamera manual_;
    kirocamera_manager_t* manager_ = nullptr;
    kirocamera_t* camera_ = nullptr;
    kirocamera_t* eventCamera_ = nullptr;
    kiroframe_t* image_ = nullptr;
    std::vector<std::string> events_;
    Picture last_;
    bool throwing_ = false;
};

TEST_F(CameraSimulatorTest, HeaderHasEveryFieldAtItsPlace) {
    Start();
    const Picture first = Frame();
    const Picture tenth = Frame(9);
    ASSERT_EQ(tenth.header.size(), 2048U);
    EXPECT_EQ(tenth.At<std::uint64_t>(22), 333'333'333U);
    EXPECT_STREQ(reinterpret_cast<const char*>(&tenth.header[30]), "4B1D0C7A92E5");
    EXPECT_EQ(first.At<std::uint32_t>(99), 1U);
    EXPECT_EQ(tenth.At<std::uint32_t>(99), 10U);
    EXPECT_GT(tenth.At<std::uint32_t>(103), 1000U);
    EXPECT_NEAR(tenth.At<float>(107), 22.0F, 0.5F);
    EXPECT_EQ(image_->width, 160);
    EXPECT_EQ(image_->height, 120);
    EXPECT_EQ(image_->channels, 1);
    EXPECT_EQ(image_->pixel_depth, 8);
    EXPECT_EQ(image_->line_stride, 160);
    EXPECT_EQ(image_->pixel_size, 1U);
    EXPECT_EQ(image_->data_size, 19200U);
}

TEST_F(CameraSimulatorTest, SpotIsTheTemperatureOfThePicturesMiddle) {
    Start();
    float coolest = 1000.0F;
    float warmest = -1000.0F;
    for (int frame = 0; frame < 20 * 30; frame += 5) {
        const Picture& picture = Frame(5);
        const auto spot = picture.At<float>(131);
        coolest = std::min(coolest, spot);
        warmest = std::max(warmest, spot);
        float grey = 0.0F;
        for (const std::size_t y : {59U, 60U, 61U})
            for (const std::size_t x : {79U, 80U, 81U})
                grey += static_cast<float>(picture.Grey(x, y)) / 9.0F;
        // In the fixed range, 0 to 60 degrees are the greys 0 to 255.
        EXPECT_NEAR(grey * 60.0F / 255.0F, spot, 0.2F);
    }
    EXPECT_LT(coolest, 22.0F); // the wall
    EXPECT_GT(warmest, 28.0F); // somebody walked through the middle
}

TEST_F(CameraSimulatorTest, EveryModeChangesThePicture) {
    Start();
    const Picture fixed = Frame();
    EXPECT_EQ(kirocamera_set_display_mode(camera_, 4), 0);
    const Picture automatic = Frame();
    EXPECT_LT(fixed.Grey(104, 30), 120);
    EXPECT_LT(automatic.Grey(104, 30), 8); // the window, coldest of the scene
    EXPECT_EQ(automatic.Contrast(), 255);
    EXPECT_GT(automatic.WallGreys(), fixed.WallGreys());

    EXPECT_EQ(kirocamera_set_sensor_mode(camera_, 1), 0);
    int mode = -1;
    EXPECT_EQ(kirocamera_get_sensor_mode(camera_, &mode), 0);
    EXPECT_EQ(mode, 1);
    EXPECT_LT(Frame().WallGreys(), automatic.WallGreys() / 2);

    EXPECT_EQ(kirocamera_set_debug_display_mode(camera_, 1), 0);
    const Picture pattern = Frame();
    for (const auto& [x, y] : {std::pair{0U, 0U}, {159U, 0U}, {0U, 119U}, {159U, 119U}, {80U, 60U}})
        EXPECT_EQ(pattern.Grey(x, y), 255) << x << "," << y;
    EXPECT_EQ(kirocamera_set_debug_display_mode(camera_, 0), 0);
    EXPECT_LT(Frame().Grey(0, 119), 255);

    EXPECT_LT(kirocamera_set_display_mode(camera_, 1), 0);
    EXPECT_LT(kirocamera_set_sensor_mode(camera_, 2), 0);
    EXPECT_LT(kirocamera_set_debug_display_mode(camera_, -1), 0);
}

TEST_F(CameraSimulatorTest, SceneMovesAndRepeatsExactly) {
    Start();
    const std::vector<std::uint8_t> first = Frame().pixels;
    const std::vector<std::uint8_t> later = Frame(29).pixels;
    int changed = 0;
    for (std::size_t i = 0; i < first.size(); ++i)
        changed += std::abs(first[i] - later[i]) > 10 ? 1 : 0;
    EXPECT_GT(changed, 500); // far more than noise

    kirocamera_manager_destroy(manager_);
    ASSERT_EQ(kirocamera_manager_create(&manager_, 3), 0);
    kirocamera_manager_register_event_callback(manager_, OnEvent, this);
    manual_.Connect();
    camera_ = kirocamera_sim_get_camera();
    kirocamera_register_frame_available_callback(camera_, OnFrame, this);
    Start();
    EXPECT_EQ(Frame(30).pixels, later);
}

TEST_F(CameraSimulatorTest, FrameKeepsItsContentUntilTheNextButOne) {
    Start();
    Frame();
    const kiroframe_t* const image = image_;
    const std::vector<std::uint8_t> pixels = last_.pixels;
    Frame();
    EXPECT_NE(image, image_);
    EXPECT_TRUE(std::equal(pixels.begin(), pixels.end(), image->buffer + image->header_size));
}

TEST_F(CameraSimulatorTest, FramesComeOnlyWhileASessionRuns) {
    EXPECT_EQ(kirocamera_sim_frame(), KIROCAMERA_SIM_ERROR_SESSION);
    EXPECT_EQ(kirocamera_capture_session_start(camera_, 0x40), KIROCAMERA_SIM_ERROR_FORMAT);
    EXPECT_EQ(kirocamera_capture_session_stop(camera_), KIROCAMERA_SIM_ERROR_SESSION);
    Start();
    EXPECT_EQ(kirocamera_capture_session_start(camera_, 0x80), KIROCAMERA_SIM_ERROR_SESSION);
    Frame();
    EXPECT_EQ(kirocamera_capture_session_stop(camera_), 0);
    EXPECT_EQ(kirocamera_sim_frame(), KIROCAMERA_SIM_ERROR_SESSION);
}

TEST_F(CameraSimulatorTest, DisconnectedCameraFailsButStaysValid) {
    Start();
    manual_.Disconnect();
    EXPECT_EQ(eventCamera_, camera_);
    EXPECT_EQ(kirocamera_sim_get_camera(), nullptr);
    EXPECT_EQ(kirocamera_sim_frame(), KIROCAMERA_SIM_ERROR_SESSION);
    EXPECT_EQ(kirocamera_capture_session_stop(camera_), KIROCAMERA_SIM_ERROR_DISCONNECTED);
    std::uint16_t id = 7;
    EXPECT_EQ(kirocamera_get_roic_id(camera_, &id), KIROCAMERA_SIM_ERROR_DISCONNECTED);
    EXPECT_EQ(id, 7);

    EXPECT_EQ(kirocamera_sim_command("error -7"), 0); // nobody to report
    EXPECT_EQ(kirocamera_sim_command("connect"), 0);
    EXPECT_NE(kirocamera_sim_get_camera(), camera_);
    EXPECT_EQ(kirocamera_sim_command("connect"), 0); // is connected already
    EXPECT_EQ(kirocamera_sim_command("error -7"), 0);
    for (const char* line :
         {"", "error", "error x", "error 1 2", "rate -1", "rate 1e9", "disconect"})
        EXPECT_EQ(kirocamera_sim_command(line), KIROCAMERA_SIM_ERROR_ARGUMENT) << line;
    EXPECT_THAT(events_, ElementsAre("0 0", "1 0", "0 0", "2 -7"));
}

TEST_F(CameraSimulatorTest, IdentityIsWhatATestSets) {
    kirocamera_sim_identity_t identity{1201, "0123456789AB", "SN-1", {{1, 2, 3, 4}}};
    kirocamera_sim_set_identity(&identity);
    std::uint16_t roic = 0;
    std::array<char, KIROCAMERA_TEXT_SIZE> chip{};
    std::array<char, KIROCAMERA_TEXT_SIZE> serial{};
    kirocamera_firmware_version_t firmware{};
    EXPECT_EQ(kirocamera_get_roic_id(camera_, &roic), 0);
    EXPECT_EQ(kirocamera_get_chipid(camera_, chip.data()), 0);
    EXPECT_EQ(kirocamera_get_serial_number(camera_, serial.data()), 0);
    EXPECT_EQ(kirocamera_get_firmware_version(camera_, &firmware), 0);
    EXPECT_EQ(roic, 1201);
    EXPECT_STREQ(chip.data(), "0123456789AB");
    EXPECT_STREQ(serial.data(), "SN-1");
    EXPECT_THAT(firmware.bytes, ElementsAre(1, 2, 3, 4));
    Start();
    EXPECT_STREQ(reinterpret_cast<const char*>(&Frame().header[30]), "0123456789AB");

    std::array<std::uint8_t, KIROCAMERA_FACTORY_SETTINGS_SIZE> data{};
    EXPECT_EQ(kirocamera_get_factory_settings(camera_, data.data()), 0);
    EXPECT_EQ(data[0], 5);
    EXPECT_EQ(data[5119], KIROCAMERA_SIM_FACTORY_BYTE(5119));
    data[5119] = 0xEE;
    kirocamera_sim_set_factory_settings(data.data());
    data.fill(0);
    EXPECT_EQ(kirocamera_get_factory_settings(camera_, data.data()), 0);
    EXPECT_EQ(data[5119], 0xEE);
}

TEST_F(CameraSimulatorTest, GeometryMisalignmentAndHeaderBytesAreWhatATestSets) {
    Start();
    kiroframe_t geometry{};
    geometry.width = 80;
    geometry.height = 60;
    geometry.channels = 1;
    geometry.pixel_depth = 16;
    geometry.line_stride = 163;
    geometry.pixel_size = 2;
    geometry.data_size = 163 * 59 + 100; // the last line is cut short
    geometry.header_size = 201;
    EXPECT_EQ(kirocamera_sim_set_geometry(&geometry), 0);
    EXPECT_EQ(kirocamera_sim_set_misalignment(3), 0);
    EXPECT_EQ(kirocamera_sim_set_header(130, "\x11\x22", 2), 0);
    EXPECT_EQ(kirocamera_set_debug_display_mode(camera_, 1), 0);
    const Picture& picture = Frame();
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(image_->buffer) % 4, 3U);
    EXPECT_EQ(picture.header.size(), 201U);
    EXPECT_EQ(picture.At<std::uint16_t>(130), 0x2211);
    EXPECT_EQ(picture.At<std::uint32_t>(99), 1U);
    ASSERT_EQ(picture.pixels.size(), 163U * 59 + 100);
    EXPECT_EQ(picture.pixels[163 * 30 + 2 * 40], 255); // the cross of the pattern

    EXPECT_LT(kirocamera_sim_set_header(2047, "\1\2", 2), 0);
    EXPECT_LT(kirocamera_sim_set_misalignment(16), 0);
    kirocamera_sim_reset();
    EXPECT_EQ(Frame().pixels.size(), 19200U);
    EXPECT_NE(last_.At<std::uint16_t>(130), 0x2211);
}

TEST_F(CameraSimulatorTest, ForcedResultsAndTheLogOfCalls) {
    kirocamera_sim_clear_log();
    EXPECT_EQ(kirocamera_sim_set_result("kirocamera_capture_session_start", -5), 0);
    EXPECT_EQ(kirocamera_capture_session_start(camera_, 0x80), -5);
    EXPECT_EQ(kirocamera_sim_frame(), KIROCAMERA_SIM_ERROR_SESSION); // really not started
    EXPECT_EQ(kirocamera_sim_set_result("kirocamera_capture_session_start", 0), 0);
    Start();
    EXPECT_LT(kirocamera_sim_set_result("kirocamera_capture_session_begin", -5), 0);
    EXPECT_THAT(manual_.Calls("kirocamera_capture_session_start"),
                ElementsAre("kirocamera_capture_session_start(camera1, 128)",
                            "kirocamera_capture_session_start(camera1, 128)"));
    std::array<char, 12> shortText;
    shortText.fill('x');
    EXPECT_GT(kirocamera_sim_get_log(shortText.data(), 11), 11U);
    EXPECT_STREQ(shortText.data(), "kirocamera");
    EXPECT_EQ(shortText[11], 'x');
    kirocamera_sim_reset();
    EXPECT_THAT(manual_.Calls("kirocamera_capture_session_start"), IsEmpty());
}

TEST_F(CameraSimulatorTest, ExceptionsOfCallbacksReachTheCaller) {
    Start();
    throwing_ = true;
    EXPECT_THROW(manual_.Frame(), std::runtime_error);
    EXPECT_THROW(manual_.Fail(-1), std::runtime_error);
    EXPECT_THROW(kirocamera_sim_command("disconnect"), std::runtime_error);
    throwing_ = false;
    manual_.Connect();
    camera_ = kirocamera_sim_get_camera();
    kirocamera_register_frame_available_callback(camera_, OnFrame, this);
    Start();
    Frame(); // no lock was left behind
}

TEST(FramePacerTest, RateDoesNotDriftAndMissedFramesAreLeftOut) {
    using Clock = kirosim::FramePacer::Clock;
    const Clock::time_point start{std::chrono::hours(24)};
    kirosim::FramePacer pacer;
    pacer.Start(start, 30);
    for (int frame = 1; frame < 30 * 3600; ++frame)
        pacer.Advance(pacer.Deadline() + std::chrono::milliseconds(5));
    EXPECT_EQ(pacer.Deadline(), start + std::chrono::hours(1));

    pacer.Advance(start + std::chrono::hours(2) + std::chrono::milliseconds(10));
    EXPECT_EQ(pacer.Deadline(), start + std::chrono::hours(2) + std::chrono::nanoseconds(33333333));
}

} // namespace
