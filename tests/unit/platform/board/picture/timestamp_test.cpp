// The text of the time stamp.

#include "board/boardd/picture/timestamp.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace {

using namespace board;

class Timestamp : public testing::Test {
  protected:
    Timestamp() {
        setenv("TZ", "UTC0", 1);
        tzset();
    }
    static constexpr std::time_t moment = 1795245375; // 2026-11-21 07:16:15 UTC
};

TEST_F(Timestamp, EachRegionHasItsLayout) {
    EXPECT_EQ(timestamp_text(0, moment), "11/21/2026 07:16:15");
    EXPECT_EQ(timestamp_text(1, moment), "21/11/2026 07:16:15");
    EXPECT_EQ(timestamp_text(2, moment), "2026-11-21 07:16:15");
    EXPECT_EQ(timestamp_text(3, moment), "2026/11/21 07:16:15");
}

TEST_F(Timestamp, AnyOtherRegionIsAsGoodAsTheThird) {
    for (const int32_t region : {-1, 4, 255, INT32_MIN, INT32_MAX}) {
        EXPECT_EQ(timestamp_text(region, moment), timestamp_text(3, moment));
    }
}

TEST_F(Timestamp, IsLocalTime) {
    setenv("TZ", "XXX-5:30", 1);
    tzset();
    EXPECT_EQ(timestamp_text(1, moment), "21/11/2026 12:46:15");
}

TEST_F(Timestamp, OfABoardThatWasNeverToldCountsFrames) {
    EXPECT_EQ(frame_text(moment, 42), "2026-11-21 07:16:15  #42");
}

} // namespace
