// The motion detector on a generated stage (bench/motion_stage.h), in virtual time.

#include "bench/motion_score.h"

#include <gtest/gtest.h>

namespace {

using namespace bench;
using board::Motion;
using board::MotionDetector;
using board::Sensitivity;

class MotionOnStage : public testing::Test {
  protected:
    MotionOnStage() { rest(8); }

    std::optional<Motion> see(Act act, double elapsed_s, double length_s, double strength = 0,
                              const Thing &thing = Thing()) {
        const cv::Mat picture = stage_.next(act, elapsed_s, length_s, strength, thing);
        return detector_.see(picture, stage_.time_us(), look_);
    }

    void rest(double seconds) {
        for (double t = 0; t < seconds; t += frame_s) {
            EXPECT_FALSE(see(Act::quiet, t, seconds)) << "noise is no motion";
        }
    }

    /* Whether motion is told during an act and until all has settled. */
    bool told(Act act, double strength = 0.8, const Thing &thing = Thing(), double length_s = 3) {
        return play(&stage_, &detector_, act, length_s, strength, thing, nullptr);
    }

    Stage stage_{3};
    MotionDetector detector_;
    uint32_t look_ = 0;
};

TEST_F(MotionOnStage, AThingThatMovesIsToldWhereItIs) {
    Thing thing;
    thing.from = 80;
    thing.y = 100;
    std::optional<Motion> motion;
    double elapsed_s = 0;
    while (!motion && elapsed_s < 2) {
        motion = see(Act::thing, elapsed_s, 5, 0, thing);
        elapsed_s += frame_s;
    }
    ASSERT_TRUE(motion);
    EXPECT_LE(elapsed_s, 1.0);
    const double x = 2 * (thing.from + thing.speed * (elapsed_s - frame_s));
    EXPECT_NEAR(motion->x + motion->width / 2.0, x, 24) << "in pixels of a raw frame, twice the detector's";
    EXPECT_NEAR(motion->y + motion->height / 2.0, 2 * thing.y, 24);
    EXPECT_NEAR(motion->height, 2 * thing.size, 24);
    EXPECT_GT(motion->area, motion->width * motion->height / 3);
    EXPECT_LE(motion->area, motion->width * motion->height);
}

TEST_F(MotionOnStage, WhatStopsIsNoMotionAnyMore) {
    Thing thing;
    thing.from = 100;
    thing.speed = 60;
    EXPECT_TRUE(told(Act::thing, 0, thing, 1.4));
    rest(4);
}

TEST_F(MotionOnStage, WhatIsPutDownOnceIsNoMotion) {
    EXPECT_FALSE(told(Act::put_down));
    rest(20);
}

class NoEvents : public MotionOnStage, public testing::WithParamInterface<std::tuple<Act, double>> {};

TEST_P(NoEvents, AreNotTold) {
    const auto [act, strength] = GetParam();
    EXPECT_FALSE(told(act, strength)) << name_of(act);
    EXPECT_TRUE(told(Act::thing, 0, Thing(), 5)) << "and it sees again";
}

INSTANTIATE_TEST_SUITE_P(Acts, NoEvents,
                         testing::Combine(testing::Values(Act::light_step, Act::light_fade, Act::lamp,
                                                          Act::flash, Act::tone, Act::night, Act::noise,
                                                          Act::bands, Act::clock, Act::flip, Act::pan),
                                          testing::Values(0.9, -0.6)));

TEST_F(MotionOnStage, ALookThatChangesIsSilentForASecondAndNoLonger) {
    Thing thing;
    thing.from = 60;
    const uint32_t before = detector_.relearnt();
    ++look_;
    double elapsed_s = 0;
    double told_after_s = -1;
    while (told_after_s < 0 && elapsed_s < 4) {
        told_after_s = see(Act::thing, elapsed_s, 5, 0, thing) ? elapsed_s : -1;
        elapsed_s += frame_s;
    }
    EXPECT_EQ(detector_.relearnt(), before + 1);
    EXPECT_GE(told_after_s + 1e-6, static_cast<double>(board::settle_us) / 1e6);
    EXPECT_LE(told_after_s, 2.2);
}

TEST_F(MotionOnStage, APauseIsAStartAnew) {
    const uint32_t before = detector_.relearnt();
    detector_.forget();
    rest(2);
    EXPECT_EQ(detector_.relearnt(), before + 1);
    for (uint64_t skipped = 0; skipped < board::detect_gap_us; skipped += board::detect_interval_us) {
        stage_.next(Act::quiet, 0, 1, 0); // nobody looks
    }
    rest(2);
    EXPECT_EQ(detector_.relearnt(), before + 2);
}

TEST_F(MotionOnStage, TakesPicturesOfAnySize) {
    for (int i = 0; i < 20; ++i) {
        const cv::Mat large(480, 2560, CV_8UC1, cv::Scalar(90));
        EXPECT_FALSE(detector_.see(large, stage_.time_us() + static_cast<uint64_t>(i) * 200'000, 1));
        const cv::Mat small(36, 64, CV_8UC1, cv::Scalar(90));
        EXPECT_FALSE(detector_.see(small, stage_.time_us() + static_cast<uint64_t>(i) * 200'000, 1));
    }
}

TEST(MotionSensitivity, EachLevelHasAnEffect) {
    constexpr double least_height[] = {1000, 64, 46, 32, 23, 16}; // doubling the area, level by level
    for (int32_t level = 1; level <= board::level_max; ++level) {
        Thing kind;
        kind.size = least_height[level] * 1.4;
        EXPECT_EQ(share_seen(Sensitivity::of({&level, 1}, false), kind, 1), 1) << level;
        kind.size = least_height[level] * 0.6;
        EXPECT_EQ(share_seen(Sensitivity::of({&level, 1}, false), kind, 1), 0) << level;
        kind.size = least_height[level] * 1.4;
        EXPECT_EQ(share_seen(Sensitivity::of({&level, 1}, true), kind, 1), 0) << level << ", lowest";
    }
}

TEST(MotionSensitivity, ARegionThatIsOffIsBlind) {
    std::array<int32_t, board::motion_regions> levels{};
    Thing kind;
    kind.size = 40;
    EXPECT_EQ(share_seen(Sensitivity::of(levels, false), kind, 1), 0);
    levels.fill(3);
    for (size_t i = board::motion_regions / 2; i < board::motion_regions; ++i) {
        levels[i] = 0; // the lower half
    }
    Stage stage(3);
    MotionDetector detector;
    detector.set(Sensitivity::of(levels, false));
    for (int i = 0; i < 40; ++i) {
        detector.see(stage.next(Act::quiet, 0, 1, 0), stage.time_us(), 0);
    }
    kind.y = 150;
    EXPECT_FALSE(play(&stage, &detector, Act::thing, 6, 0, kind, nullptr));
    kind.y = 40;
    EXPECT_TRUE(play(&stage, &detector, Act::thing, 6, 0, kind, nullptr));
}

TEST(SensitivityOf, TakesWhatSetMdSenseGives) {
    EXPECT_EQ(Sensitivity::of({}, false).levels[31], board::level_default);
    for (const auto &[value, level] : {std::pair{-5, 0}, {0, 0}, {1, 1}, {5, 5}, {6, 5}, {255, 5}}) {
        EXPECT_EQ(Sensitivity::of({&value, 1}, false).levels[17], level) << value;
    }
    EXPECT_EQ(Sensitivity::region_at(0, 0), 0U);
    EXPECT_EQ(Sensitivity::region_at(0.99, 0.1), 7U) << "row by row";
    EXPECT_EQ(Sensitivity::region_at(0.1, 0.3), 8U);
    EXPECT_EQ(Sensitivity::region_at(1, 1), 31U);
    EXPECT_FALSE(Sensitivity::of(std::array<int32_t, 1>{0}, false).anything_on());
}

} // namespace
