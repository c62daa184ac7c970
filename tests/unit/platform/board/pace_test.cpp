// Thinning frames out to a rate.

#include "board/boardd/pace.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

using board::Pace;

/* How many of `seconds` of frames at one rate are due at another. `jitter_us` is added to every other frame.
 */
int due_frames(int from_fps, int to_fps, int seconds, uint64_t jitter_us = 0) {
    Pace pace(to_fps);
    int due = 0;
    for (int i = 0; i < from_fps * seconds; ++i) {
        const uint64_t time_us =
            50'000'000 + static_cast<uint64_t>(i) * 1'000'000U / static_cast<uint64_t>(from_fps);
        due += pace.due(time_us + (i % 2 == 1 ? jitter_us : 0)) ? 1 : 0;
    }
    return due;
}

TEST(Pace, KeepsTheRate) {
    EXPECT_EQ(due_frames(30, 30, 10), 300);
    EXPECT_EQ(due_frames(30, 15, 10), 150);
    EXPECT_EQ(due_frames(30, 1, 10), 10);
    EXPECT_NEAR(due_frames(30, 25, 10), 250, 1);
    EXPECT_NEAR(due_frames(15, 10, 10), 100, 1);
    EXPECT_NEAR(due_frames(20, 8, 10), 80, 1);
}

TEST(Pace, TakesEveryFrameOfASlowerSource) {
    EXPECT_EQ(due_frames(7, 15, 10), 70);
}

TEST(Pace, TakesFramesThatAreALittleEarlyOrLate) {
    EXPECT_EQ(due_frames(30, 30, 10, 7'000), 300);
}

TEST(Pace, DoesNotHurryAfterAPause) {
    Pace pace(10);
    EXPECT_TRUE(pace.due(1'000'000));
    EXPECT_TRUE(pace.due(9'000'000));
    EXPECT_FALSE(pace.due(9'010'000)) << "made up for the pause";
    EXPECT_TRUE(pace.due(9'100'000));
}

} // namespace
