// Whether detection is wanted, as the daemon says it.

#include "algo_kit/detection.h"

#include "libalgo_kit.h"

#include <gtest/gtest.h>

namespace {

TEST(Detection, IsWantedUntilItIsStoppedAndAgainFromItsStart) {
    EXPECT_TRUE(algo_kit::detection_wanted());
    EXPECT_EQ(oru_api_algo_stop(), 0);
    EXPECT_FALSE(algo_kit::detection_wanted());
    EXPECT_EQ(oru_api_algo_start(), 0);
    EXPECT_TRUE(algo_kit::detection_wanted());
}

TEST(Detection, MayBeStoppedAndStartedAgainAndAgain) {
    EXPECT_EQ(oru_api_algo_stop(), 0);
    EXPECT_EQ(oru_api_algo_stop(), 0);
    EXPECT_FALSE(algo_kit::detection_wanted());
    EXPECT_EQ(oru_api_algo_start(), 0);
    EXPECT_EQ(oru_api_algo_start(), 0);
    EXPECT_TRUE(algo_kit::detection_wanted());
}

} // namespace
