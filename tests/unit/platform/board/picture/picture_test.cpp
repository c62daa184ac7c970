// The picture's settings on their way into frames.

#include "board/boardd/picture/picture.h"
#include "platform/board/picture/canvas.h"

#include <gtest/gtest.h>

namespace {

using namespace board;
using fake::Canvas;

class PictureSettingsTest : public testing::Test {
  protected:
    /* A grey frame of another source than the scene, as it comes out. */
    Canvas frame(uint8_t luma = 66) {
        Canvas canvas(32, 32, luma, 100, 160);
        if (picture_.begin_frame(false)) {
            picture_.paint(canvas.planes(), false, 0);
        }
        picture_.measure(canvas.planes().y);
        return canvas;
    }

    Picture picture_;
    PictureSettings settings_;
};

TEST_F(PictureSettingsTest, AFreshBoardLeavesFramesAlone) {
    EXPECT_FALSE(picture_.begin_frame(false));
    EXPECT_TRUE(picture_.begin_frame(true)) << "but the scene has its wall";
}

TEST_F(PictureSettingsTest, EachEffectIsSeenByItself) {
    const auto touches = [this](auto change) {
        PictureSettings settings;
        change(settings);
        picture_.set(settings);
        return picture_.begin_frame(false);
    };
    EXPECT_TRUE(touches([](PictureSettings &s) { s.flip = true; }));
    EXPECT_TRUE(touches([](PictureSettings &s) { s.wdr = true; }));
    EXPECT_TRUE(touches([](PictureSettings &s) { s.night = true; }));
    EXPECT_TRUE(touches([](PictureSettings &s) { s.track = TrackRecord{1, 1, 1, 1}; }));
    EXPECT_TRUE(touches([](PictureSettings &s) { s.white.mode = white_fixed; }));
    EXPECT_FALSE(touches([](PictureSettings &s) { s.lamp = true; })) << "by day the lamp is not seen";
    EXPECT_FALSE(touches([](PictureSettings &s) { s.flicker_hz = 60; })) << "only the scene has bands";
    EXPECT_FALSE(touches([](PictureSettings &s) { s.overlay = false; }));
}

TEST_F(PictureSettingsTest, NightAndLamp) {
    settings_.night = true;
    picture_.set(settings_);
    EXPECT_EQ(frame().y(3, 3), 66);
    EXPECT_EQ(frame().u(3, 3), 128);
    settings_.lamp = true;
    picture_.set(settings_);
    EXPECT_EQ(frame().y(3, 3), 96);
}

TEST_F(PictureSettingsTest, LampAndWideDynamicRangeAddUp) {
    settings_.night = settings_.lamp = true;
    picture_.set(settings_);
    const int lit = frame().y(0, 0);
    settings_.wdr = true;
    picture_.set(settings_);
    EXPECT_EQ(frame().y(0, 0), wdr_curve()[static_cast<size_t>(lit)]);
}

TEST_F(PictureSettingsTest, WhiteBalanceMeansNothingAtNight) {
    settings_.white = {white_fixed, 4096, 1024, 1024, {}};
    picture_.set(settings_);
    EXPECT_NE(frame().v(0, 0), 160);
    settings_.night = true;
    picture_.set(settings_);
    EXPECT_EQ(frame().v(0, 0), 128);
}

TEST_F(PictureSettingsTest, ChangesAreCountedWhenTheyAreSetAndWhenTheyAreShown) {
    const uint32_t before = picture_.changes();
    picture_.set(settings_);
    EXPECT_EQ(picture_.changes(), before + 1);
    EXPECT_EQ(picture_.changes_shown(), before);
    frame();
    EXPECT_EQ(picture_.changes_shown(), before + 1);
}

TEST_F(PictureSettingsTest, StampsAreThoseOfTheFramesSettings) {
    frame();
    EXPECT_NE(picture_.stamp(42).find("#42"), std::string::npos);
    settings_.stamp = Stamp{2, 0};
    picture_.set(settings_);
    EXPECT_NE(picture_.stamp(42).find("#42"), std::string::npos) << "not before the next frame";
    frame();
    EXPECT_EQ(picture_.stamp(42).find('#'), std::string::npos);
    EXPECT_EQ(picture_.stamp(42), picture_.stamp(43));
    settings_.overlay = false;
    picture_.set(settings_);
    frame();
    EXPECT_EQ(picture_.stamp(42), "");
}

TEST_F(PictureSettingsTest, ExposureKeepsToWholeFlashes) {
    struct Case {
        int32_t hz;
        bool night;
        int32_t fps;
        uint32_t exposure_us;
    };
    for (const Case &one : {Case{50, false, 15, 10'000},
                            {60, false, 15, 8333},
                            {50, true, 15, 60'000},
                            {60, true, 15, 66'664},
                            {0, false, 15, 10'000},
                            {-50, true, 15, 66'666},
                            {INT32_MAX, false, 15, 10'000},
                            {INT32_MIN, false, 15, 10'000},
                            {1, false, 15, 500'000}}) {
        settings_.flicker_hz = one.hz;
        settings_.night = one.night;
        picture_.set(settings_);
        EXPECT_EQ(picture_.exposure(one.fps).exposure_us, one.exposure_us) << one.hz << one.night;
    }
}

TEST_F(PictureSettingsTest, ExposureSaysWhatIsSetAndWhatIsSeen) {
    EXPECT_EQ(picture_.exposure(15).luma_mean, 0U) << "before the first frame";
    settings_.wdr = true;
    settings_.lamp = true;
    settings_.flicker_hz = 60;
    picture_.set(settings_);
    Canvas canvas = frame(66);
    const ExposureRecord record = picture_.exposure(15);
    EXPECT_EQ(record.luma_mean, canvas.y(0, 0));
    EXPECT_EQ(record.flags, exposure_flag_wdr | exposure_flag_lamp);
    EXPECT_EQ(record.flicker_hz, 60);
    EXPECT_EQ(record.day_night, 0);
    EXPECT_EQ(record.gain_milli, 1000U);
}

} // namespace
