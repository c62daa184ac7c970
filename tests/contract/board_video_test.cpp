// libboardav.h, video: what get_video_stream brings, as a decoder and a clock see it.

#include "contract/board_fixture.h"

#include <algorithm>
#include <cstring>
#include <thread>

namespace contract {
namespace {

class BoardVideo : public BoardTest {
  protected:
    /* Fetches nothing until the main stream has brought so many frames more. 100 take more than three
     * seconds: all that waited by then are too old. */
    bool main_stream_waits_for(int64_t count) {
        const int64_t before = status_number("/channels/0/frames");
        return support::eventually([&] { return status_number("/channels/0/frames") >= before + count; });
    }
};

struct Format {
    const char *name;
    VencChannel channel;
    const char *probe; // what ffprobe says of it, without the number of frames
};

void PrintTo(const Format &format, std::ostream *out) {
    *out << format.name;
}

class BoardFormat : public BoardTest, public testing::WithParamInterface<Format> {};

TEST_P(BoardFormat, DecodesWithoutAnError) {
    const VencChannel &channel = GetParam().channel;
    start_board(profile_of(channel, h265_channel(64, 64)));
    const std::vector<Frame> frames = next_frames(0, 40);
    EXPECT_EQ(decoded(frames, run_dir_), std::string(GetParam().probe) + ",40");
    for (const Frame &frame : frames) {
        EXPECT_EQ(frame.info.board0, channel.pt == 1 ? 1U : 0U);
        EXPECT_EQ(frame.info.board24, static_cast<uint32_t>(channel.width | channel.height << 16));
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, BoardFormat,
                         testing::Values(Format{"H265", h265_channel(), "hevc,320,180"},
                                         Format{"H264", h264_channel(), "h264,320,180"},
                                         Format{"H265SmallestSquare", h265_channel(64, 64), "hevc,64,64"},
                                         Format{"H264SmallestSquare", h264_channel(64, 64), "h264,64,64"},
                                         Format{"H265OddShape", h265_channel(98, 270), "hevc,98,270"},
                                         Format{"H264OddShape", h264_channel(98, 270), "h264,98,270"},
                                         Format{"H265FastThirty", h265_channel(320, 180, 30), "hevc,320,180"},
                                         Format{"H264SubStreamSize", h264_channel(640, 360), "h264,640,360"},
                                         Format{"H265ManyRows", h265_channel(1280, 720), "hevc,1280,720"},
                                         Format{"H264ManyRows", h264_channel(1280, 720), "h264,1280,720"}),
                         [](const auto &test) { return test.param.name; });

TEST_F(BoardVideo, CountsFromZeroAndBeginsWithAKeyFrame) {
    start_board();
    for (int32_t channel = 0; channel < 2; ++channel) {
        const std::vector<Frame> frames = next_frames(channel, 4);
        ASSERT_EQ(frames.size(), 4U);
        EXPECT_NE(frames[0].info.is_key, 0U);
        for (uint32_t i = 0; i < 4; ++i) {
            EXPECT_EQ(frames[i].info.seq, i);
            EXPECT_EQ(frames[i].info.board28, 0U);
            EXPECT_EQ(frames[i].info.len, frames[i].payload.size());
        }
    }
}

TEST_F(BoardVideo, KeyFramesBeginWithParameterSetsAndAreIdr) {
    start_board();
    const std::vector<int> h265 = unit_types(next_frame(0));
    EXPECT_TRUE(std::count(h265.begin(), h265.end(), 32) == 1 &&
                std::count(h265.begin(), h265.end(), 33) == 1 &&
                std::count(h265.begin(), h265.end(), 34) == 1);
    EXPECT_TRUE(h265.back() == 19 || h265.back() == 20) << h265.back();
    const std::vector<int> h264 = unit_types(next_frame(1));
    EXPECT_TRUE(std::count(h264.begin(), h264.end(), 7) == 1 && std::count(h264.begin(), h264.end(), 8) == 1);
    EXPECT_EQ(h264.back(), 5);
}

class BoardKeyFrame : public BoardTest, public testing::WithParamInterface<int32_t> {
  protected:
    /* Whether the channel's next frames have a key frame within so many. */
    bool key_within(int32_t channel, int frames) {
        for (int i = 0; i < frames && !HasFailure(); ++i) {
            if (next_frame(channel).info.is_key != 0) {
                return true;
            }
        }
        return false;
    }
};

TEST_P(BoardKeyFrame, EveryTwoSeconds) {
    start_board(profile_of(h265_channel(64, 64, 10), h264_channel(64, 64, 10)));
    std::vector<uint32_t> keys;
    for (const Frame &frame : next_frames(GetParam(), 41)) {
        if (frame.info.is_key != 0) {
            keys.push_back(frame.info.seq);
        }
    }
    EXPECT_EQ(keys, (std::vector<uint32_t>{0, 20, 40}));
}

TEST_P(BoardKeyFrame, OnRequestOfOneChannel) {
    start_board(profile_of(h265_channel(64, 64, 30), h264_channel(64, 64, 30)));
    ASSERT_TRUE(key_within(GetParam(), 1));
    const int64_t other_keys =
        status_number(GetParam() == 0 ? "/channels/1/key_frames" : "/channels/0/key_frames");
    ASSERT_EQ(req_IDR_one(GetParam()), 0);
    // Frames that were on their way come first; without the request it would be the 60th.
    EXPECT_TRUE(key_within(GetParam(), 20));
    EXPECT_EQ(status_number(GetParam() == 0 ? "/channels/1/key_frames" : "/channels/0/key_frames"),
              other_keys);
}

INSTANTIATE_TEST_SUITE_P(Channels, BoardKeyFrame, testing::Values(0, 1),
                         [](const auto &test) { return test.param == 0 ? "H265" : "H264"; });

TEST_F(BoardVideo, KeyFrameOnRequestOfAllChannels) {
    start_board(profile_of(h265_channel(64, 64, 30), h264_channel(64, 64, 30)));
    next_frames(0, 2);
    next_frames(1, 2);
    const int64_t keys = status_number("/channels/0/key_frames") + status_number("/channels/1/key_frames");
    ASSERT_EQ(req_IDR(), 0);
    EXPECT_TRUE(support::eventually([&] {
        return status_number("/channels/0/key_frames") + status_number("/channels/1/key_frames") >= keys + 2;
    }));
}

TEST_F(BoardVideo, KeyFrameRequestsOfOtherChannelsAreRefused) {
    start_board();
    EXPECT_LT(req_IDR_one(2), 0);
    EXPECT_LT(req_IDR_one(-1), 0);
}

TEST_F(BoardVideo, TimestampsAreTheMonotonicTimeOfCapture) {
    const uint64_t before_us = monotonic_us();
    start_board();
    const std::vector<Frame> frames = next_frames(0, 16);
    const uint64_t after_us = monotonic_us();
    ASSERT_EQ(frames.size(), 16U);
    for (size_t i = 0; i < frames.size(); ++i) {
        EXPECT_GT(frames[i].info.timestamp_us, i == 0 ? before_us : frames[i - 1].info.timestamp_us);
        EXPECT_LT(frames[i].info.timestamp_us, after_us);
    }
    // By the capture's own clock there is no jitter: 15 frames last a second.
    const uint64_t second_us = frames[15].info.timestamp_us - frames[0].info.timestamp_us;
    EXPECT_NEAR(static_cast<double>(second_us), 1e6, 1e5);
}

TEST_F(BoardVideo, EachChannelHasItsOwnFrameRate) {
    start_board(profile_of(h265_channel(64, 64, 20), h264_channel(64, 64, 8)));
    std::thread main_stream([&] {
        const std::vector<Frame> frames = next_frames(0, 21);
        EXPECT_NEAR(static_cast<double>(frames.back().info.timestamp_us - frames[0].info.timestamp_us), 1e6,
                    1e5);
    });
    const std::vector<Frame> frames = next_frames(1, 9);
    main_stream.join();
    EXPECT_NEAR(static_cast<double>(frames.back().info.timestamp_us - frames[0].info.timestamp_us), 1e6, 1e5);
}

class BoardRate : public BoardTest, public testing::WithParamInterface<int32_t> {};

TEST_P(BoardRate, TargetBitrateIsKept) {
    VencChannel channel = h265_channel(320, 180, 30);
    channel.pt = GetParam();
    channel.bitrate = 400'000;
    // Everything in this scene moves and a part of it is noise, so the encoder can use all it may.
    start_board(profile_of(channel, h265_channel(64, 64)),
                {"--source", "videotestsrc is-live=true pattern=smpte horizontal-speed=3"});
    size_t bytes = 0;
    for (const Frame &frame : next_frames(0, 120)) {
        bytes += frame.payload.size();
    }
    const double bits_per_second = static_cast<double>(bytes) * 8 / 4;
    EXPECT_GT(bits_per_second, 280'000);
    EXPECT_LT(bits_per_second, 520'000);
}

INSTANTIATE_TEST_SUITE_P(Encoders, BoardRate, testing::Values(0, 1),
                         [](const auto &test) { return test.param == 0 ? "H264" : "H265"; });

TEST_F(BoardVideo, NoFrameInTimeIsAnEmptyResult) {
    start_board();
    board::BoardCtl().stall(0);
    Frame frame{};
    ASSERT_TRUE(support::eventually([&] {
        const uint64_t before_us = monotonic_us();
        const bool empty = fetch(0, frame) == 0 && frame.info.len == 0;
        // It waited for one: not much less than the 90 ms that it may.
        return empty && monotonic_us() - before_us > 60'000;
    }));
}

TEST_F(BoardVideo, FramesThatNobodyFetchedAreALossThatIsSaidOnce) {
    start_board(profile_of(h265_channel(64, 64, 30), h264_channel(64, 64, 30)));
    next_frame(0);
    ASSERT_TRUE(main_stream_waits_for(100));
    ASSERT_TRUE(fetch_until(0, -2));
    // The next call has a frame at once, and no other -2 follows while frames are fetched.
    for (int i = 0; i < 20; ++i) {
        Frame frame{};
        EXPECT_EQ(fetch(0, frame), 0);
    }
}

TEST_F(BoardVideo, WhatWasNotFetchedForLongIsNotBroughtLater) {
    start_board(profile_of(h265_channel(64, 64, 30), h264_channel(64, 64, 30)));
    ASSERT_TRUE(main_stream_waits_for(100));
    Frame frame{};
    EXPECT_EQ(fetch(0, frame), -2) << "the frames that waited were brought first";
    const uint64_t now_us = monotonic_us();
    EXPECT_LT(now_us - next_frame(0).info.timestamp_us, 2'500'000U);
}

TEST_F(BoardVideo, AfterALossAKeyFrameMakesItDecodableAgain) {
    start_board(profile_of(h265_channel(64, 64, 30), h264_channel(64, 64, 30)));
    ASSERT_TRUE(main_stream_waits_for(100));
    ASSERT_TRUE(fetch_until(0, -2));
    ASSERT_EQ(req_IDR_one(0), 0);
    std::vector<Frame> frames = {next_frame(0)};
    while (frames[0].info.is_key == 0) {
        frames[0] = next_frame(0);
    }
    for (Frame &frame : next_frames(0, 10)) {
        frames.push_back(std::move(frame));
    }
    EXPECT_EQ(decoded(frames, run_dir_), "hevc,64,64,11");
}

TEST_F(BoardVideo, AFrameLargerThanTheCapacityIsALoss) {
    start_board();
    std::vector<uint8_t> memory(100, 0xEE);
    VideoFrameInfo info{};
    ASSERT_TRUE(support::eventually([&] { return get_video_stream(0, memory.data(), 16, &info) == -2; }));
    EXPECT_TRUE(std::all_of(memory.begin(), memory.end(), [](uint8_t byte) { return byte == 0xEE; }));
    Frame frame{};
    ASSERT_TRUE(support::eventually([&] { return fetch(0, frame) == 0 && frame.info.len > 0; }));
}

TEST_F(BoardVideo, WritesNothingBehindTheFrame) {
    start_board();
    std::vector<uint8_t> memory(payload_capacity, 0xEE);
    VideoFrameInfo info{};
    ASSERT_TRUE(support::eventually(
        [&] { return get_video_stream(0, memory.data(), payload_capacity, &info) == 0 && info.len > 0; }));
    EXPECT_TRUE(
        std::all_of(memory.begin() + info.len, memory.end(), [](uint8_t byte) { return byte == 0xEE; }));
}

TEST_F(BoardVideo, RefusesWhatIsNoChannelOrNoMemory) {
    start_board();
    Frame frame{};
    EXPECT_EQ(fetch(2, frame), -1);
    EXPECT_EQ(fetch(-1, frame), -1);
    EXPECT_EQ(get_video_stream(0, nullptr, 100, &frame.info), -1);
    EXPECT_EQ(get_video_stream(0, frame.payload.data(), 100, nullptr), -1);
    next_frame(0);
}

} // namespace
} // namespace contract
