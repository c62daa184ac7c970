// Where the thing is that moves.

#include "board/boardd/scene/moving_object.h"

#include <gtest/gtest.h>

namespace {

using board::object_pan;
using board::SceneObjectRecord;

constexpr uint64_t second = 1'000'000;

TEST(MovingObject, SwingsFromStartToEndAndBack) {
    const SceneObjectRecord object = {1, board::path_swing, 1000, 1000, -2000, 0, 4000, 0};
    const int32_t expected[] = {-2000, -1000, 0, 1000, 2000, 1000, 0, -1000, -2000, -1000};
    for (uint64_t i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(object_pan(object, i * second), expected[i]) << i;
        EXPECT_EQ(object_pan(object, (i + 80) * second), expected[i]) << "ten times later";
    }
}

TEST(MovingObject, GoesRoundEitherWay) {
    SceneObjectRecord object = {1, board::path_round, 9000, 1000, 9000, 0, 0, 0};
    for (const int32_t expected : {9000, -18000, -9000, 0, 9000}) {
        static uint64_t i = 0;
        EXPECT_EQ(object_pan(object, i++ * second), expected);
    }
    object.speed = -9000;
    EXPECT_EQ(object_pan(object, second), 0);
    EXPECT_EQ(object_pan(object, 3 * second), -18000);
}

TEST(MovingObject, StandsStillWithoutSpeedOrSpan) {
    EXPECT_EQ(object_pan({1, board::path_swing, 0, 1000, 500, 0, 4000, 0}, 99 * second), 500);
    EXPECT_EQ(object_pan({1, board::path_swing, 1000, 1000, 500, 0, 0, 0}, 99 * second), 500);
}

TEST(MovingObject, IsInRangeForAllTime) {
    for (const int32_t path : {board::path_swing, board::path_round}) {
        const SceneObjectRecord object = {1,     path, board::object_speed_max, 1000,
                                          18000, 0,    path == 0 ? 36000 : 0,   0};
        ASSERT_TRUE(board::is_sound(object));
        for (uint64_t time_us = 1; time_us < 1'000'000'000'000'000; time_us *= 3) {
            EXPECT_GE(object_pan(object, time_us), -18000);
            EXPECT_LT(object_pan(object, time_us), 18000);
        }
    }
}

TEST(MovingObject, TheFirstOneStaysInAViewStraightAhead) {
    ASSERT_TRUE(board::is_sound(board::object_default));
    for (uint64_t ms = 0; ms < 30'000; ms += 100) {
        EXPECT_LE(std::abs(object_pan(board::object_default, ms * 1000)), 4500);
    }
}

} // namespace
