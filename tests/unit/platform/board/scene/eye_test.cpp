// The sensor and its exposure in virtual time.

#include "board/boardd/scene/eye.h"

#include <gtest/gtest.h>

namespace {

using board::Eye;
using board::sensed_lux;

constexpr uint64_t second = 1'000'000;

TEST(Optics, TheFilterKeepsInfraredAndLampOut) {
    EXPECT_DOUBLE_EQ(sensed_lux(100, {true, 0}), 100);
    EXPECT_DOUBLE_EQ(sensed_lux(100, {true, 1}), 100);
    EXPECT_DOUBLE_EQ(sensed_lux(100, {false, 0}), 130);
    EXPECT_DOUBLE_EQ(sensed_lux(100, {false, 0.5}), 136);
    EXPECT_DOUBLE_EQ(sensed_lux(0, {false, 1}), 12);
}

TEST(EyeTest, MakesTheSamePictureOfAllLightThatIsEnough) {
    for (const double lux : {1.0, 2.0, 50.0, 500.0, 100'000.0}) {
        const board::Sight sight = Eye().look(lux, lux, second);
        EXPECT_DOUBLE_EQ(sight.brightness, 1) << lux;
        EXPECT_DOUBLE_EQ(sight.seen_lux, lux);
    }
}

TEST(EyeTest, BelowItsLimitThePictureGoesDark) {
    EXPECT_DOUBLE_EQ(Eye().look(0.5, 0.5, second).brightness, 0.5);
    EXPECT_DOUBLE_EQ(Eye().look(0.1, 0.1, second).brightness, 0.1);
    EXPECT_DOUBLE_EQ(Eye().look(0.1, 0.1, second).seen_lux, 0.1);
    EXPECT_LT(Eye().look(0, 0, second).brightness, 0.001);
}

TEST(EyeTest, GainGrowsAsLightFallsUpToItsLimit) {
    EXPECT_DOUBLE_EQ(Eye().look(1000, 1000, second).gain, 1);
    EXPECT_DOUBLE_EQ(Eye().look(50, 50, second).gain, 1);
    EXPECT_DOUBLE_EQ(Eye().look(5, 5, second).gain, 10);
    EXPECT_DOUBLE_EQ(Eye().look(1, 1, second).gain, 50);
    EXPECT_DOUBLE_EQ(Eye().look(0.01, 0.01, second).gain, 50);
}

TEST(EyeTest, FollowsALeapWithinASecond) {
    Eye eye;
    eye.leap(2, 200, 10 * second);
    EXPECT_DOUBLE_EQ(eye.look(200, 200, 10 * second).brightness, 100) << "white";
    EXPECT_LT(eye.look(200, 200, 10 * second).seen_lux, 10) << "and white tells little";
    double before = 100;
    for (uint64_t ms = 50; ms < 1000; ms += 50) {
        const double brightness = eye.look(200, 200, 10 * second + ms * 1000).brightness;
        EXPECT_LT(brightness, before);
        EXPECT_GE(brightness, 1);
        before = brightness;
    }
    EXPECT_NEAR(eye.look(200, 200, 11 * second).seen_lux, 200, 2);
}

TEST(EyeTest, ALeapIntoTheDarkIsFollowedDownToItsLimit) {
    Eye eye;
    eye.leap(1000, 0.1, second);
    EXPECT_NEAR(eye.look(0.1, 0.1, second).brightness, 0.0001, 1e-6);
    EXPECT_NEAR(eye.look(0.1, 0.1, 3 * second).brightness, 0.1, 1e-3);
    EXPECT_NEAR(eye.look(0.1, 0.1, 3 * second).gain, 50, 0.1);
}

TEST(EyeTest, ASecondLeapBeginsWhereTheFirstHasGot) {
    Eye eye;
    eye.leap(10, 1000, second);
    const board::Sight before = eye.look(1000, 1000, second + 100'000);
    eye.leap(1000, 500, second + 100'000);
    EXPECT_NEAR(eye.look(500, 500, second + 100'000).brightness, before.brightness / 2, 1e-6);
    EXPECT_DOUBLE_EQ(eye.look(500, 500, second + 100'000).gain, before.gain);
}

TEST(EyeTest, FlickerIsSeenSinceTheExposureDoesNotFollowIt) {
    const board::Sight sight = Eye().look(100, 90, second);
    EXPECT_DOUBLE_EQ(sight.brightness, 0.9);
    EXPECT_DOUBLE_EQ(sight.seen_lux, 90);
}

} // namespace
