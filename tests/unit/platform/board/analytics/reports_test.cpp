// What is told of motion, when, and which way the camera is to turn.

#include "board/boardd/analytics/motion_report.h"
#include "board/boardd/analytics/track_rule.h"

#include <gtest/gtest.h>

namespace {

using namespace board;

constexpr uint64_t s = 1'000'000;
constexpr Motion there = {120, 96, 64, 48, 2100};

TEST(MotionReport, TellsTheBeginEachSecondAndTheEnd) {
    MotionReport report;
    EXPECT_EQ(report.step(std::nullopt, 1 * s), std::nullopt);
    EXPECT_EQ(report.step(there, 2 * s), "Motion x=120 y=96 w=64 h=48 area=2100");
    EXPECT_EQ(report.step(there, 2 * s + 999'999), std::nullopt);
    EXPECT_EQ(report.step(there, 3 * s), "Motion x=120 y=96 w=64 h=48 area=2100");
    EXPECT_EQ(report.step(std::nullopt, 4 * s), std::nullopt);
    EXPECT_EQ(report.step(std::nullopt, 5 * s), "MotionEnd");
    EXPECT_EQ(report.step(std::nullopt, 9 * s), std::nullopt) << "once";
}

TEST(MotionReport, NeverTellsMoreOftenThanOnceASecond) {
    MotionReport report;
    int told = 0;
    for (uint64_t time_us = s; time_us < 11 * s; time_us += 50'000) {
        const auto text = report.step(there, time_us);
        told += text ? 1 : 0;
        if (time_us % 150'000 == 0) {
            report.stop();
        }
    }
    EXPECT_EQ(told, 10);
}

TEST(MotionReport, AStopIsAnEndOnlyOfWhatHasBegun) {
    MotionReport report;
    EXPECT_EQ(report.stop(), std::nullopt);
    EXPECT_TRUE(report.step(there, s));
    EXPECT_EQ(report.stop(), "MotionEnd");
    EXPECT_EQ(report.stop(), std::nullopt);
}

Motion at(int32_t x, int32_t y) {
    return {x - 20, y - 20, 40, 40, 1000};
}

struct Place {
    int32_t x, y, horizontal, vertical;
};

class Directions : public testing::TestWithParam<Place> {};

TEST_P(Directions, BringBackToTheMiddle) {
    const Place &place = GetParam();
    TrackRule rule;
    const auto direction = rule.step(at(place.x, place.y), s);
    if (place.horizontal == 0 && place.vertical == 0) {
        EXPECT_FALSE(direction);
        return;
    }
    ASSERT_TRUE(direction);
    EXPECT_EQ(direction->horizontal, place.horizontal);
    EXPECT_EQ(direction->vertical, place.vertical);
    EXPECT_EQ(direction->reserved, 0);
}

// 640 pixels are 110 degrees: a step of half a degree is 2.9 pixels.
INSTANTIATE_TEST_SUITE_P(Places, Directions,
                         testing::Values(Place{320, 192, 0, 0}, Place{400, 240, 0, 0}, Place{240, 144, 0, 0},
                                         Place{401, 192, 28, 0}, Place{239, 192, -28, 0},
                                         Place{620, 192, 90, 0}, Place{20, 192, -90, 0},
                                         Place{320, 243, 0, 16}, Place{320, 141, 0, -16},
                                         Place{620, 364, 90, 55}, Place{20, 20, -90, -55}));

TEST(TrackRule, TellsAtMostTwiceASecond) {
    TrackRule rule;
    int told = 0;
    for (uint64_t time_us = s; time_us < 11 * s; time_us += 50'000) {
        told += rule.step(at(600, 192), time_us) ? 1 : 0;
    }
    EXPECT_EQ(told, 20);
    EXPECT_FALSE(rule.step(std::nullopt, 100 * s));
}

} // namespace
