// Which profiles the board offers, and what it captures for them. board_control_test.cpp has what is refused.

#include "board/boardd/profile.h"

#include <gtest/gtest.h>

namespace {

using namespace board;

constexpr VencConfig profile(const VencChannel &main, const VencChannel &sub) {
    return {1, {0, 0, 0}, 1, {main, sub}};
}

constexpr VencChannel small = {1, 0, 256'000, 15, 640, 360};

TEST(Profile, EveryProfileOfTheCameraIsOffered) {
    const int32_t sizes[][2] = {{1920, 1080}, {1280, 720}, {640, 360}, {2304, 1296}, {2560, 1440}};
    for (const auto &size : sizes) {
        for (const int32_t pt : {0, 1}) {
            for (const int32_t bitrate : {256'000, 800'000, 4'000'000}) {
                const VencChannel channel = {pt, 0, bitrate, 15, size[0], size[1]};
                EXPECT_EQ(profile_objection(profile(channel, channel)), "");
            }
        }
    }
}

TEST(Profile, TheLimitsAreOffered) {
    const VencChannel least = {0, 0, bitrate_min, fps_min, 64, 64};
    const VencChannel most = {1, 0, bitrate_max, fps_max, 2560, 1440};
    EXPECT_EQ(profile_objection(profile(least, most)), "");
    EXPECT_EQ(profile_objection(profile(most, least)), "");
}

TEST(Profile, AnObjectionNamesTheChannel) {
    const VencChannel bad = {1, 0, 256'000, 15, 0, 0};
    EXPECT_EQ(profile_objection(profile(small, bad)),
              "channel 1: size 0x0 is not an even one from 64x64 to 2560x1440");
}

TEST(Profile, CapturesTheLargestPictureAtTheHighestRate) {
    const VencChannel large = {0, 0, 1'000'000, 10, 1920, 1080};
    const CaptureFormat expected = {1920, 1080, 15};
    EXPECT_EQ(capture_format(profile(large, small)), expected);
    EXPECT_EQ(capture_format(profile(small, large)), expected);
}

TEST(Profile, AnEncoderRestartsForWhatItEncodesAndNothingElse) {
    VencChannel other = small;
    other.reserved = 5;
    EXPECT_TRUE(same_encoding(small, other));
    for (int32_t VencChannel::*member : {&VencChannel::pt, &VencChannel::bitrate, &VencChannel::fps,
                                         &VencChannel::width, &VencChannel::height}) {
        other = small;
        other.*member -= 1;
        EXPECT_FALSE(same_encoding(small, other));
    }
}

} // namespace
