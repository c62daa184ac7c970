// The light of the world in virtual time.

#include "board/boardd/scene/sky.h"

#include <gtest/gtest.h>
#include <set>

namespace {

using board::Sky;

constexpr uint64_t second = 1'000'000;

TEST(SkyTest, IsAWellLitRoomAtFirst) {
    EXPECT_DOUBLE_EQ(Sky().lux(12345), 500);
}

TEST(SkyTest, AConstantLevelIsThatLevel) {
    Sky sky;
    for (const uint32_t mlux : {0U, 1U, 1500U, board::scene_mlux_max}) {
        sky.set({board::scene_constant, mlux, 0, 0}, 7);
        EXPECT_DOUBLE_EQ(sky.lux(8), mlux / 1000.0);
        EXPECT_DOUBLE_EQ(sky.lux(1000 * second), mlux / 1000.0);
    }
}

TEST(SkyTest, ARampIsEvenInLogarithmsAndEndsWhereItIsTo) {
    Sky sky;
    sky.set({board::scene_constant, 1'000'000, 0, 0}, 0);
    sky.set({board::scene_ramp, 10, 0, 10'000}, 5 * second);
    EXPECT_NEAR(sky.lux(5 * second), 1000, 1e-6);
    EXPECT_NEAR(sky.lux(9 * second), 10, 1e-6) << "two of five decades";
    EXPECT_NEAR(sky.lux(13 * second), 0.1, 1e-6);
    EXPECT_DOUBLE_EQ(sky.lux(15 * second), 0.01);
    EXPECT_DOUBLE_EQ(sky.lux(1500 * second), 0.01);
}

TEST(SkyTest, ARampBeginsInTheMiddleOfAnother) {
    Sky sky;
    sky.set({board::scene_constant, 100'000, 0, 0}, 0);
    sky.set({board::scene_ramp, 1000, 0, 10'000}, 0);
    sky.set({board::scene_ramp, 100'000, 0, 10'000}, 5 * second);
    EXPECT_NEAR(sky.lux(5 * second), 10, 1e-6);
    EXPECT_NEAR(sky.lux(15 * second), 100, 1e-6);
}

TEST(SkyTest, ToNothingAndBackIsARampToo) {
    Sky sky;
    sky.set({board::scene_ramp, 0, 0, 1000}, 0);
    EXPECT_GT(sky.lux(second - 1), 0);
    EXPECT_DOUBLE_EQ(sky.lux(second), 0);
    sky.set({board::scene_ramp, 1000, 0, 1000}, 2 * second);
    EXPECT_NEAR(sky.lux(3 * second), 1, 1e-6);
}

TEST(SkyTest, ACycleIsASineFromHighToLowAndBack) {
    Sky sky;
    sky.set({board::scene_cycle, 1'000'000, 100, 60'000}, second);
    for (const uint64_t day : {0U, 1U, 7U}) {
        const uint64_t morning = second + day * 60 * second;
        EXPECT_NEAR(sky.lux(morning), 1000, 1e-3);
        EXPECT_NEAR(sky.lux(morning + 15 * second), 10, 1e-3);
        EXPECT_NEAR(sky.lux(morning + 30 * second), 0.1, 1e-3);
        EXPECT_NEAR(sky.lux(morning + 45 * second), 10, 1e-3);
    }
}

TEST(SkyTest, FlickersWithinItsPercentAndEvenly) {
    Sky sky;
    sky.set({board::scene_constant, 100'000, 0, 0}, 0);
    EXPECT_DOUBLE_EQ(sky.flickering_lux(42), 100);
    sky.set_noise(10);
    double sum = 0;
    double least = 1000;
    double most = 0;
    constexpr int looks = 10'000;
    for (uint64_t i = 0; i < looks; ++i) {
        const double lux = sky.flickering_lux(i * 40'000);
        sum += lux;
        least = std::min(least, lux);
        most = std::max(most, lux);
    }
    EXPECT_NEAR(sum / looks, 100, 0.3);
    EXPECT_GE(least, 90);
    EXPECT_LT(least, 90.1);
    EXPECT_LE(most, 110);
    EXPECT_GT(most, 109.9);
    EXPECT_DOUBLE_EQ(sky.lux(42), 100) << "behind the flicker";
}

} // namespace
