// Pictures on their way from the capture thread to the analytics thread.

#include "board/boardd/analytics/frame_tap.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

using namespace board;

constexpr uint64_t s = 1'000'000;

TEST(FrameTap, TakesAPictureNowAndThenWhileItIsOpen) {
    std::vector<uint8_t> bytes(size_t{64} * 32, 7);
    const Plane plane = {bytes.data(), 64, 60, 32};
    FrameTap tap;
    TappedFrame frame;
    tap.offer(plane, s, 0);
    EXPECT_FALSE(tap.wait(&frame, 0)) << "closed";
    tap.open(true);
    tap.offer(plane, s, 3);
    ASSERT_TRUE(tap.wait(&frame, 0));
    EXPECT_EQ(frame.width, 60);
    EXPECT_EQ(frame.height, 32);
    EXPECT_EQ(frame.luma.size(), size_t{60} * 32) << "rows without gaps";
    EXPECT_EQ(frame.time_us, s);
    EXPECT_EQ(frame.look, 3U);
    EXPECT_FALSE(tap.wait(&frame, 0)) << "once";
    tap.offer(plane, s + 60'000, 3);
    EXPECT_FALSE(tap.wait(&frame, 0)) << "too early";
    int taken = 0;
    for (uint64_t time_us = 2 * s; time_us < 12 * s; time_us += 66'667) {
        tap.offer(plane, time_us, 3);
        taken += tap.wait(&frame, 0) ? 1 : 0;
    }
    EXPECT_NEAR(taken, 50, 2);
}

TEST(FrameTap, TakesAPartOfTheRowsOfALargePicture) {
    std::vector<uint8_t> bytes(size_t{16} * 1440);
    for (size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<uint8_t>(i / 16 % 251);
    }
    FrameTap tap;
    tap.open(true);
    tap.offer({bytes.data(), 16, 16, 1440}, s, 0);
    TappedFrame frame;
    ASSERT_TRUE(tap.wait(&frame, 0));
    EXPECT_EQ(frame.height, 480);
    EXPECT_EQ(frame.luma[size_t{16} * 100], 300 % 251) << "each third";
}

TEST(FrameTap, AWaitCanBeEnded) {
    FrameTap tap;
    std::thread waker([&] { tap.wake(); });
    TappedFrame frame;
    EXPECT_FALSE(tap.wait(&frame, 60'000));
    waker.join();
}

} // namespace
