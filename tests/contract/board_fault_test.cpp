// Failures of the board: those that boardctl asks for, and sources that fail, end, or bring what they like.

#include "contract/board_fixture.h"

#include <csignal>
#include <filesystem>
#include <fstream>

namespace contract {
namespace {

using BoardSource = BoardTest;

class BoardFault : public BoardTest {
  protected:
    /* How many fetches in a row answer `result`, counted from the first that does. `frame` is what the first
     * one that does not has brought. */
    int count_answers(int32_t channel, int32_t result, Frame &frame) {
        EXPECT_TRUE(fetch_until(channel, result));
        int count = 1;
        while (count < 1000 && fetch(channel, frame) == result) {
            ++count;
        }
        if (frame.info.len == 0) {
            frame = next_frame(channel);
        }
        return count;
    }
};

TEST_F(BoardFault, FailsForSoManyFetchesAndGoesOnWithAKeyFrame) {
    start_board(profile_of(h265_channel(64, 64, 30), h264_channel(64, 64, 30)));
    next_frame(0);
    board::BoardCtl().answer_fetches(0, -1, 202);
    Frame frame{};
    EXPECT_EQ(count_answers(0, -1, frame), 202);
    EXPECT_NE(frame.info.is_key, 0U);
}

TEST_F(BoardFault, AsksForAKeyFrameForSoManyFetches) {
    start_board(profile_of(h265_channel(64, 64, 30), h264_channel(64, 64, 30)));
    next_frame(1);
    board::BoardCtl().answer_fetches(1, -2, 3);
    Frame frame{};
    EXPECT_EQ(count_answers(1, -2, frame), 3);
    EXPECT_NE(frame.info.is_key, 0U);
}

TEST_F(BoardFault, BringsEmptyFramesForSoManyFetches) {
    start_board(profile_of(h265_channel(64, 64, 30), h264_channel(64, 64, 30)));
    next_frame(0);
    board::BoardCtl().answer_fetches(0, 0, 50);
    // Told apart from frames that did not come in time by their number: 50 waits of 90 ms would be long.
    Frame frame{};
    int empty = 0;
    ASSERT_TRUE(
        support::eventually([&] { return fetch(0, frame) == 0 && frame.info.len == 0 && ++empty > 0; }));
    const uint64_t before_us = monotonic_us();
    while (empty < 49 && fetch(0, frame) == 0 && frame.info.len == 0) {
        ++empty;
    }
    EXPECT_EQ(empty, 49);
    EXPECT_LT(monotonic_us() - before_us, 2'000'000U);
    EXPECT_NE(next_frame(0).info.is_key, 0U);
}

TEST_F(BoardFault, FailsUntilCleared) {
    start_board(profile_of(h265_channel(64, 64, 30), h264_channel(64, 64, 30)));
    next_frame(0);
    board::BoardCtl().answer_fetches(0, -1, 0);
    ASSERT_TRUE(fetch_until(0, -1));
    Frame frame{};
    for (int i = 0; i < 500; ++i) {
        ASSERT_EQ(fetch(0, frame), -1);
    }
    EXPECT_EQ(status("/channels/0/fault/result"), "-1");
    board::BoardCtl().clear_faults(0);
    ASSERT_TRUE(fetch_until(0, 0));
    EXPECT_EQ(status("/channels/0/fault"), "null");
    const Frame first = frame.info.len > 0 ? frame : next_frame(0);
    EXPECT_GT(first.info.seq, 0U);
}

TEST_F(BoardFault, OneChannelFailsAndTheOtherGoesOn) {
    start_board(profile_of(h265_channel(64, 64, 30), h264_channel(64, 64, 30)));
    board::BoardCtl().answer_fetches(0, -1, 0);
    ASSERT_TRUE(fetch_until(0, -1));
    next_frame(1);
}

TEST_F(BoardFault, StallsUntilCleared) {
    start_board(profile_of(h265_channel(64, 64, 30), h264_channel(64, 64, 30)));
    board::BoardCtl().stall(board::all_channels);
    Frame frame{};
    for (int32_t channel = 0; channel < 2; ++channel) {
        ASSERT_TRUE(support::eventually([&] { return fetch(channel, frame) == 0 && frame.info.len == 0; }));
    }
    board::BoardCtl().clear_faults();
    EXPECT_NE(next_frame(0).info.is_key, 0U);
    EXPECT_NE(next_frame(1).info.is_key, 0U);
}

TEST_F(BoardFault, AFaultFindsAClientThatFetchesLate) {
    start_board(profile_of(h265_channel(64, 64, 30), h264_channel(64, 64, 30)));
    const int64_t frames = status_number("/channels/0/frames");
    ASSERT_TRUE(support::eventually([&] { return status_number("/channels/0/frames") > frames + 40; }));
    board::BoardCtl().answer_fetches(0, -1, 0); // nobody has room for it now
    EXPECT_TRUE(fetch_until(0, -1));
}

TEST_F(BoardFault, AFaultBeforeInitHoldsForTheDaemonThatComes) {
    start_boardd();
    board::BoardCtl().answer_fetches(0, -1, 0);
    const VencConfig profile = profile_of(h265_channel(), h264_channel());
    ASSERT_EQ(control_venc_dynamically(&profile), 0);
    ASSERT_EQ(board_system_init(1), 0);
    EXPECT_TRUE(fetch_until(0, -1));
    next_frame(1);
}

TEST_F(BoardFault, WhatMakesNoSenseIsRefused) {
    start_boardd();
    board::BoardCtl ctl;
    EXPECT_THROW(ctl.answer_fetches(2, -1, 1), board::BoardCtlError);
    EXPECT_THROW(ctl.answer_fetches(0, -3, 1), board::BoardCtlError);
    EXPECT_THROW(ctl.answer_fetches(0, 1, 1), board::BoardCtlError);
    EXPECT_THROW(ctl.refuse_init(0), board::BoardCtlError);
    ctl.status();
}

/* ---- sources ---- */

/* A short video, as a camera's owner would have one: H.264 and sound in a file. */
void make_video(const std::string &path, const std::string &frames) {
    const auto made = support::run({"ffmpeg",
                                    "-v",
                                    "error",
                                    "-f",
                                    "lavfi",
                                    "-i",
                                    "testsrc=size=192x108:rate=25",
                                    "-f",
                                    "lavfi",
                                    "-i",
                                    "sine=frequency=440",
                                    "-frames:v",
                                    frames,
                                    "-shortest",
                                    "-c:v",
                                    "libx264",
                                    "-preset",
                                    "ultrafast",
                                    "-c:a",
                                    "aac",
                                    path});
    ASSERT_EQ(made.exit_code, 0) << made.output;
}

TEST_F(BoardSource, AFileIsPlayedInALoop) {
    make_video(run_dir_.file("clip.mp4"), "12");
    start_board(profile_of(h265_channel(), h264_channel()), {"--source", run_dir_.file("clip.mp4")});
    const std::vector<Frame> frames = next_frames(0, 30); // the file has half a second
    EXPECT_EQ(decoded(frames, run_dir_), "hevc,320,180,30");
    EXPECT_EQ(frames.back().info.seq, 29U);
    for (size_t i = 1; i < frames.size(); ++i) {
        EXPECT_GT(frames[i].info.timestamp_us, frames[i - 1].info.timestamp_us);
    }
}

TEST_F(BoardSource, AUriIsPlayed) {
    make_video(run_dir_.file("clip.mkv"), "12");
    start_board(profile_of(h265_channel(), h264_channel()),
                {"--source", "file://" + run_dir_.file("clip.mkv")});
    EXPECT_EQ(decoded(next_frames(0, 15), run_dir_), "hevc,320,180,15");
}

TEST_F(BoardSource, PadsThatAppearLaterAreLinkedAndDecoded) {
    make_video(run_dir_.file("clip.mkv"), "50");
    start_board(profile_of(h264_channel(), h265_channel(64, 64)),
                {"--source", "filesrc location=" + run_dir_.file("clip.mkv") + " ! matroskademux"});
    EXPECT_EQ(decoded(next_frames(0, 15), run_dir_), "h264,320,180,15");
}

TEST_F(BoardSource, AChainMayEndWithWhatIsWantedOfIt) {
    start_board(
        profile_of(h265_channel(), h264_channel()),
        {"--source", "videotestsrc is-live=true ! video/x-raw,width=100,height=100,framerate=(fraction)5/1"});
    EXPECT_EQ(decoded(next_frames(0, 15), run_dir_), "hevc,320,180,15");
}

TEST_F(BoardSource, CompressedPicturesAreDecoded) {
    start_board(profile_of(h265_channel(), h264_channel()),
                {"--source", "videotestsrc is-live=true ! jpegenc"});
    EXPECT_EQ(decoded(next_frames(0, 10), run_dir_), "hevc,320,180,10");
}

TEST_F(BoardSource, AFailedSourceIsReportedAfterATimeAndTriedAgain) {
    const std::string clip = run_dir_.file("clip.mp4");
    const std::string hidden = run_dir_.file("hidden.mp4");
    make_video(clip, "12");
    start_board(profile_of(h265_channel(), h264_channel()), {"--source", clip});
    next_frame(0);
    std::filesystem::rename(clip, hidden);
    EXPECT_TRUE(boardd_->saw("clip.mp4\" failed:")) << boardd_->output();
    EXPECT_TRUE(fetch_until(0, -1));
    EXPECT_EQ(status("/source/state"), "failing");
    std::filesystem::rename(hidden, clip);
    EXPECT_TRUE(boardd_->saw("brings pictures again"));
    ASSERT_TRUE(fetch_until(0, 0));
    EXPECT_NE(next_frame(0).info.len, 0U);
    EXPECT_EQ(boardd_->count("\" failed:"), 1U) << "said once: " << boardd_->output();
}

TEST_F(BoardSource, AMuteSourceIsReportedAfterATime) {
    start_board(profile_of(h265_channel(), h264_channel()),
                {"--source", "videotestsrc is-live=true ! valve drop=true"});
    EXPECT_TRUE(fetch_until(0, -1));
    EXPECT_TRUE(fetch_until(1, -1));
    EXPECT_EQ(status("/source/error"), "it brings no pictures");
}

struct Bad {
    const char *source;
    const char *complaint;
};

void PrintTo(const Bad &bad, std::ostream *out) {
    *out << bad.source;
}

class BadSource : public BoardTest, public testing::WithParamInterface<Bad> {};

TEST_P(BadSource, FailsInitWithAClearWord) {
    start_boardd({"--source", GetParam().source});
    const VencConfig profile = profile_of(h265_channel(), h265_channel());
    ASSERT_EQ(control_venc_dynamically(&profile), 0);
    EXPECT_LT(board_system_init(1), 0);
    EXPECT_TRUE(boardd_->saw(GetParam().complaint)) << boardd_->output();
    EXPECT_EQ(status("/phase"), "idle");
}

INSTANTIATE_TEST_SUITE_P(Sources, BadSource,
                         testing::Values(Bad{"nosuchelement", "no element \"nosuchelement\""},
                                         Bad{"videotestsrc ! ! x", "cannot use the source"},
                                         Bad{"v4l2src device=/dev/no-such-video", "/dev/no-such-video"},
                                         Bad{"/no/such/video.mp4", "failed:"},
                                         Bad{"rtspsrc location=rtsp://127.0.0.1:1/none", "failed:"},
                                         Bad{"audiotestsrc num-buffers=5", "failed:"}),
                         [](const auto &test) { return "Source" + std::to_string(test.index); });

} // namespace
} // namespace contract
