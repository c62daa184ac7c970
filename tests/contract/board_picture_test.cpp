// libboardav.h, the picture's controls: what they make of the pixels that streams and raw frames show, and
// what the board says of them.

#include "board/picture_protocol.h"
#include "contract/picture_fixture.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <ctime>
#include <functional>
#include <thread>

namespace contract {
namespace {

using BoardPicture = PictureTest;

constexpr Part middle = {30, 30, 70, 70};
const char *const dark_teal = "0xff203838";
const char *const orange = "0xffc08040";

/* ---- streams ---- */

TEST_F(BoardPicture, StoppedStreamsBringNothingAndNoError) {
    start_picture();
    next_frame(0);
    ASSERT_EQ(stop_stream(), 0);
    Frame frame{};
    for (int32_t channel = 0; channel < 2; ++channel) {
        ASSERT_TRUE(support::eventually([&] {
            const uint64_t before_us = monotonic_us();
            EXPECT_EQ(fetch(channel, frame), 0);
            return frame.info.len == 0 && monotonic_us() - before_us > 60'000; // what was on its way is out
        }));
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(fetch(channel, frame), 0);
            EXPECT_EQ(frame.info.len, 0U);
        }
    }
    EXPECT_EQ(status("/picture/streaming"), "false");
}

TEST_F(BoardPicture, StartedStreamsGoOnWithAKeyFrame) {
    start_picture();
    next_frames(0, 5);
    ASSERT_EQ(stop_stream(), 0);
    ASSERT_EQ(stop_stream(), 0) << "twice does no harm";
    Frame frame{};
    ASSERT_TRUE(support::eventually([&] { return fetch(0, frame) == 0 && frame.info.len == 0; }));
    const int64_t encoded = status_number("/channels/0/frames");
    const int64_t captured = status_number("/source/frames");
    ASSERT_TRUE(support::eventually([&] { return status_number("/source/frames") > captured + 3; }));
    EXPECT_LE(status_number("/channels/0/frames"), encoded + 1) << "the encoder does not rest";
    ASSERT_EQ(start_stream(), 0);
    std::vector<Frame> frames = next_frames(0, 5);
    ASSERT_EQ(frames.size(), 5U);
    EXPECT_NE(frames[0].info.is_key, 0U);
    EXPECT_EQ(decoded(frames, run_dir_), "hevc,320,180,5");
}

TEST_F(BoardPicture, AStoppedStreamIsSilentEvenWhenItsSourceHasFailed) {
    start_picture({"--source", "videotestsrc is-live=true ! valve drop=true"});
    ASSERT_TRUE(fetch_until(0, -1)) << "the source has failed";
    ASSERT_EQ(stop_stream(), 0);
    ASSERT_TRUE(fetch_until(0, 0));
    for (int i = 0; i < 5; ++i) {
        Frame frame{};
        EXPECT_EQ(fetch(0, frame), 0);
    }
    ASSERT_EQ(start_stream(), 0);
    EXPECT_TRUE(fetch_until(0, -1));
}

/* ---- geometry ---- */

TEST_F(BoardPicture, FlipTurnsEveryPictureUpsideDown) {
    start_picture();
    // The test scene has a dark wall along the bottom.
    const auto wall_is_at_the_bottom = [](const Pixels &pixels) {
        EXPECT_GT(std::abs(pixels.mean_luma(top_right) - pixels.mean_luma(bottom_right)), 20);
        return pixels.mean_luma(bottom_right) < pixels.mean_luma(top_right);
    };
    EXPECT_TRUE(wall_is_at_the_bottom(shown(0)));
    EXPECT_TRUE(wall_is_at_the_bottom(snapshot()));
    ASSERT_EQ(set_video_Vflip(), 0);
    EXPECT_FALSE(wall_is_at_the_bottom(shown(0)));
    EXPECT_FALSE(wall_is_at_the_bottom(shown(1)));
    EXPECT_FALSE(wall_is_at_the_bottom(raw_frame()));
    EXPECT_FALSE(wall_is_at_the_bottom(snapshot()));
    ASSERT_EQ(set_video_normal(), 0);
    EXPECT_TRUE(wall_is_at_the_bottom(shown(1)));
}

TEST_F(BoardPicture, TheTimeStampStaysUprightWhenThePictureIsFlipped) {
    start_picture(plain_source(dark_teal));
    ASSERT_EQ(set_video_Vflip(), 0);
    EXPECT_GT(shown().brightest(top_left), 150);
}

TEST_F(BoardPicture, TheTrackingRectangleIsWhereItIsAskedFor) {
    start_picture(plain_source("0xff404040"));
    ASSERT_EQ(osd_display_track(320, 192, 160, 96), 0);
    const Pixels pixels = raw_frame();
    // In chroma's pixels, which are two wide and high: on the four edges, inside, outside.
    for (const auto &[x, y] : {std::pair(200, 96), {200, 143}, {160, 120}, {239, 120}}) {
        EXPECT_LT(pixels.chroma(0, x, y), 110) << x << ' ' << y;
    }
    for (const auto &[x, y] : {std::pair(200, 120), {150, 120}, {250, 120}, {200, 80}, {200, 155}}) {
        EXPECT_NEAR(pixels.chroma(0, x, y), 128, 4) << x << ' ' << y;
    }
    EXPECT_LT(shown().mean_chroma(0, {50, 50, 75, 52}), 110);
    ASSERT_EQ(osd_destory_track(), 0);
    EXPECT_NEAR(raw_frame().chroma(0, 200, 96), 128, 4);
}

TEST_F(BoardPicture, ATrackingRectangleIsCutOffAtTheEdges) {
    start_picture(plain_source("0xff404040"));
    ASSERT_EQ(osd_display_track(-100, -100, 300, 300), 0);
    const Pixels pixels = raw_frame();
    EXPECT_LT(pixels.chroma(0, 99, 80), 70);
    EXPECT_NEAR(pixels.chroma(0, 1, 80), 128, 4);
    ASSERT_EQ(osd_display_track(INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX), 0);
    EXPECT_NEAR(raw_frame().mean_chroma(0, middle), 128, 4);
    ASSERT_EQ(osd_display_track(INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX), 0);
    EXPECT_NEAR(raw_frame().mean_chroma(0, middle), 128, 4);
    EXPECT_LT(osd_display_track(10, 10, 0, 10), 0);
    EXPECT_LT(osd_display_track(10, 10, 10, -1), 0);
}

/* ---- time stamp ---- */

TEST_F(BoardPicture, TheTimeStampIsShownAndHidden) {
    start_picture(plain_source(dark_teal));
    EXPECT_GT(shown().brightest(top_left), 150) << "a board shows its clock from the start";
    ASSERT_EQ(disable_osd(), 0);
    EXPECT_LT(shown(0).brightest(everything), 80);
    EXPECT_LT(shown(1).brightest(everything), 80);
    EXPECT_LT(snapshot().brightest(everything), 80);
    ASSERT_EQ(enable_osd(), 0);
    EXPECT_GT(shown().brightest(top_left), 150);
    EXPECT_GT(snapshot().brightest(top_left), 150);
}

TEST_F(BoardPicture, BeforeTheFirstUpdateTheTimeStampCountsFrames) {
    start_picture(plain_source(dark_teal));
    const Pixels before = raw_frame();
    EXPECT_GT(difference(before, raw_frame(), top_left), 0.05);
}

TEST_F(BoardPicture, TheTimeStampIsThatOfTheLastUpdate) {
    start_picture(plain_source(dark_teal));
    const auto next_second = [](std::time_t now) {
        return support::eventually([now] { return std::time(nullptr) > now; });
    };
    ASSERT_TRUE(next_second(std::time(nullptr)));
    const std::time_t now = std::time(nullptr);
    ASSERT_EQ(osd_update_timestamp(3), 0);
    const Pixels first = raw_frame();
    ASSERT_TRUE(next_second(now));
    EXPECT_EQ(difference(first, raw_frame(), everything), 0) << "it ran on by itself";
    ASSERT_EQ(osd_update_timestamp(3), 0);
    EXPECT_GT(difference(first, raw_frame(), top_left), 0.05);
}

TEST_F(BoardPicture, EachRegionHasItsLayout) {
    start_picture(plain_source(dark_teal));
    std::vector<Pixels> seen;
    for (const int32_t region : {0, 1, 2, 3}) {
        ASSERT_EQ(osd_update_timestamp(region), 0);
        EXPECT_EQ(status_number("/picture/region"), region);
        seen.push_back(raw_frame());
    }
    // The second may change between two updates; the order of day and year changes more than one digit.
    EXPECT_GT(difference(seen[1], seen[2], top_left), 0.3);
    EXPECT_GT(difference(seen[0], seen[3], top_left), 0.3);
    EXPECT_GT(difference(seen[2], seen[3], top_left), 0.05);
    EXPECT_EQ(osd_update_timestamp(-7), 0) << "any other code is as good as 3";
}

/* ---- light and colour ---- */

TEST_F(BoardPicture, WideDynamicRangeLiftsShadows) {
    start_picture(plain_source(dark_teal));
    const double before = shown().mean_luma(middle);
    ASSERT_EQ(enable_wdr(), 0);
    EXPECT_GT(shown(0).mean_luma(middle), before + 25);
    EXPECT_GT(shown(1).mean_luma(middle), before + 25);
    ASSERT_EQ(disable_wdr(), 0);
    EXPECT_NEAR(shown().mean_luma(middle), before, 3);
}

TEST_F(BoardPicture, NightIsGrey) {
    start_picture(plain_source(orange));
    const double day_v = shown().mean_chroma(1, middle);
    EXPECT_GT(day_v, 145);
    int32_t mode = -1;
    ASSERT_EQ(get_isp_dnmode(&mode), 0);
    EXPECT_EQ(mode, 0);
    ASSERT_EQ(set_isp_dnmode(1), 0);
    ASSERT_EQ(get_isp_dnmode(&mode), 0);
    EXPECT_EQ(mode, 1);
    const Pixels night = shown();
    EXPECT_NEAR(night.mean_chroma(0, everything), 128, 2);
    EXPECT_NEAR(night.mean_chroma(1, everything), 128, 2);
    ASSERT_EQ(set_isp_dnmode(0), 0);
    EXPECT_NEAR(shown(1).mean_chroma(1, middle), day_v, 4);
    for (const int32_t other : {2, -1, INT32_MAX}) {
        EXPECT_LT(set_isp_dnmode(other), 0);
    }
}

TEST_F(BoardPicture, TheLampBrightensTheNightAndNotTheDay) {
    start_picture(plain_source("0xff405060"));
    const double day = raw_frame().mean_luma(middle);
    ASSERT_EQ(control_ir_lamp(1), 0);
    EXPECT_NEAR(raw_frame().mean_luma(middle), day, 2);
    ASSERT_EQ(set_isp_dnmode(1), 0);
    EXPECT_GT(raw_frame().mean_luma(middle), day + 20);
    ASSERT_EQ(control_ir_lamp(0), 0);
    EXPECT_NEAR(raw_frame().mean_luma(middle), day, 2);
    EXPECT_LT(control_ir_lamp(2), 0);
    EXPECT_LT(control_ir_lamp(-1), 0);
}

TEST_F(BoardPicture, TheWrongMainsFrequencyBandsTheScene) {
    start_picture();
    // Down the right edge, above the wall, where nobody walks and all is of one colour; the largest step
    // between two rows.
    const auto contrast = [](const Pixels &pixels) {
        double least = 255;
        double most = 0;
        for (int top = 10; top < 85; top += 3) {
            const double mean = pixels.mean_luma({97, top, 100, top + 3});
            least = std::min(least, mean);
            most = std::max(most, mean);
        }
        return most - least;
    };
    EXPECT_LT(contrast(raw_frame()), 3);
    ASSERT_EQ(set_video_flicker(60), 0);
    EXPECT_GT(contrast(raw_frame()), 10);
    EXPECT_GT(contrast(shown()), 10);
    ASSERT_EQ(set_video_flicker(50), 0);
    EXPECT_LT(contrast(raw_frame()), 3);
    for (const int32_t any : {0, -1, INT32_MIN, INT32_MAX}) {
        EXPECT_EQ(set_video_flicker(any), 0);
        EXPECT_EQ(status_number("/picture/flicker_hz"), any);
        board::ExposureRecord record{};
        EXPECT_EQ(get_isp_ev(&record), 0);
    }
}

TEST_F(BoardPicture, WhiteBalanceGainsTintThePicture) {
    start_picture(plain_source("0xff808080"));
    board::WhiteBalanceRecord record{};
    ASSERT_EQ(get_isp_wb(&record), 0);
    EXPECT_EQ(record.mode, board::white_auto);
    EXPECT_EQ(record.red, board::white_gain_one);
    const double luma = raw_frame().mean_luma(middle);
    record = {board::white_fixed, 2048, 1024, 512, {}};
    ASSERT_EQ(set_isp_wb(&record), 0);
    board::WhiteBalanceRecord read{};
    ASSERT_EQ(get_isp_wb(&read), 0);
    EXPECT_EQ(std::memcmp(&read, &record, sizeof read), 0);
    const Pixels warm = shown();
    EXPECT_GT(warm.mean_chroma(1, middle), 150) << "more red";
    EXPECT_LT(warm.mean_chroma(0, middle), 110) << "less blue";
    EXPECT_NEAR(warm.mean_luma(middle), luma, 3);
    record = {};
    ASSERT_EQ(set_isp_wb(&record), 0) << "automatic again, whatever the gains are";
    EXPECT_NEAR(shown().mean_chroma(1, middle), 128, 3);
}

TEST_F(BoardPicture, ImpossibleWhiteBalanceIsRefused) {
    start_picture();
    for (const board::WhiteBalanceRecord &record : {board::WhiteBalanceRecord{2, 1024, 1024, 1024, {}},
                                                    {1, 255, 1024, 1024, {}},
                                                    {1, 1024, 4097, 1024, {}},
                                                    {1, 1024, 1024, 0, {}},
                                                    {1, 1024, 1024, 1024, {0, 0, 0, 1}}}) {
        EXPECT_LT(set_isp_wb(&record), 0);
    }
    EXPECT_EQ(status("/picture/white/mode"), "auto");
}

TEST_F(BoardPicture, ExposureIsMeasuredFromThePicture) {
    start_picture(plain_source("0xff909090"));
    ASSERT_EQ(disable_osd(), 0);
    const double mean = raw_frame().mean_luma(everything);
    board::ExposureRecord record{};
    ASSERT_EQ(get_isp_ev(&record), 0);
    EXPECT_NEAR(record.luma_mean, mean, 3);
    EXPECT_EQ(record.exposure_us % 10'000, 0U) << "whole flashes of 50 Hz lamps";
    ASSERT_EQ(set_isp_dnmode(1), 0);
    ASSERT_EQ(enable_wdr(), 0);
    board::ExposureRecord night{};
    ASSERT_EQ(get_isp_ev(&night), 0);
    EXPECT_EQ(night.day_night, 1);
    EXPECT_EQ(night.flags, board::exposure_flag_wdr);
    EXPECT_GT(night.gain_milli, record.gain_milli);
    EXPECT_GE(night.exposure_us, record.exposure_us);
}

/* ---- bit rate ---- */

class BoardBitrate : public BoardTest, public testing::WithParamInterface<int32_t> {
  protected:
    void start_busy(int32_t bitrate) {
        VencChannel channel = h265_channel(320, 180, 30);
        channel.pt = GetParam();
        channel.bitrate = bitrate;
        start_board(profile_of(channel, h264_channel(64, 64)),
                    {"--source", "videotestsrc is-live=true pattern=smpte horizontal-speed=3"});
    }
    /* Bytes of 15 frames, none of them a key frame, after as many that let the rate control settle. */
    size_t bytes_of_frames() {
        size_t bytes = 0;
        for (int settled = 0, counted = 0; counted < 15 && !HasFailure();) {
            const Frame frame = next_frame(0);
            if (settled < 15) {
                ++settled;
            } else if (frame.info.is_key == 0) {
                bytes += frame.payload.size();
                ++counted;
            }
        }
        return bytes;
    }
    static int32_t set(uint32_t channel, uint32_t bitrate) {
        const BitrateControl record = {channel, bitrate, 0, 50, 20, 40, 0, 0};
        return control_bitrate(&record);
    }
};

TEST_P(BoardBitrate, IsLoweredWithoutABreak) {
    start_busy(800'000);
    const size_t before = bytes_of_frames();
    ASSERT_EQ(set(0, 200'000), 0);
    EXPECT_EQ(status("/channels/0/bitrate"), "200000");
    EXPECT_NE(next_frame(0).info.seq, 0U) << "the encoder was restarted";
    EXPECT_LT(bytes_of_frames() * 2, before);
    EXPECT_NE(next_frame(0).info.seq, 0U);
}

TEST_P(BoardBitrate, IsRaised) {
    start_busy(150'000);
    const size_t before = bytes_of_frames();
    ASSERT_EQ(set(0, 900'000), 0);
    EXPECT_EQ(status("/channels/0/bitrate"), "900000");
    EXPECT_GT(bytes_of_frames(), before * 3 / 2);
}

INSTANTIATE_TEST_SUITE_P(Encoders, BoardBitrate, testing::Values(0, 1),
                         [](const auto &test) { return test.param == 0 ? "H264" : "H265"; });

TEST_F(BoardPicture, BitratesThatThisBoardCannotDoAreRefused) {
    start_picture();
    BitrateControl record = {2, 300'000, 0, 50, 20, 40, 0, 0};
    EXPECT_LT(control_bitrate(&record), 0) << "no such encoder";
    record = {0, 8'000'001, 0, 50, 20, 40, 0, 0};
    EXPECT_LT(control_bitrate(&record), 0);
    EXPECT_LT(control_bitrate(nullptr), 0);
    EXPECT_EQ(status("/channels/0/bitrate"), "300000");
    EXPECT_EQ(status("/notes/bitrate_control"), "null");
    record = {1, 10, 1, 10, 1, 51, 1, 7};
    EXPECT_EQ(control_bitrate(&record), 0);
    EXPECT_EQ(status("/channels/1/bitrate"), "10000") << "the least that it can do";
    EXPECT_EQ(status("/notes/bitrate_control"), "[ 1, 10, 1, 10, 1, 51, 1, 7 ]");
    next_frame(1);
}

/* ---- what is kept ---- */

TEST_F(BoardPicture, WhatIsToldIsShownByTheStatus) {
    start_picture();
    EXPECT_EQ(status("/notes/bound"), "null");
    EXPECT_EQ(switch_ch5_res(1), 0);
    EXPECT_EQ(status("/notes/bound"), "1");
    EXPECT_EQ(switch_ch5_res(0), 0);
    EXPECT_EQ(status("/notes/bound"), "0");
    std::array<int32_t, 32> regions{};
    for (int32_t i = 0; i < 32; ++i) {
        regions[static_cast<size_t>(i)] = i * 3;
    }
    EXPECT_EQ(set_md_sense(reinterpret_cast<intptr_t>(regions.data()), 32), 0);
    EXPECT_EQ(status("/detection/motion_sense/31"), "93");
    EXPECT_EQ(set_md_sense(-5, 4), 0);
    EXPECT_EQ(status("/detection/motion_sense"), "[ -5 ]");
    EXPECT_LT(set_md_sense(5, 7), 0);
    EXPECT_LT(set_md_sense(0, 32), 0);
    EXPECT_EQ(start_md(), 0);
    EXPECT_EQ(status("/detection/motion"), "true");
    EXPECT_EQ(stop_md(), 0);
    EXPECT_EQ(status("/detection/motion"), "false");
    EXPECT_EQ(set_lsd_threshold(72), 0);
    EXPECT_EQ(status("/detection/sound_threshold"), "72");
    EXPECT_EQ(set_board_param(0x2000, "payload"), 0);
    EXPECT_EQ(set_board_param(0xFFFFFFFF, nullptr), 0);
    EXPECT_EQ(status("/notes/board_params"), "2");
    EXPECT_EQ(status("/notes/last_board_param"), "4294967295");
}

TEST_F(BoardPicture, WhenItsOwnerGoesTheBoardForgets) {
    start_boardd();
    support::Process client({STRELL_BIN_DIR "/board_client", "tune"});
    ASSERT_TRUE(client.saw("running")) << client.output();
    EXPECT_EQ(status("/picture/flip"), "true");
    EXPECT_EQ(status("/picture/streaming"), "false");
    EXPECT_EQ(status("/notes/bound"), "1");
    client.signal(SIGKILL);
    ASSERT_TRUE(support::eventually([&] { return status("/phase") == "idle"; }));
    EXPECT_EQ(status("/picture/flip"), "false");
    EXPECT_EQ(status("/picture/streaming"), "true");
    EXPECT_EQ(status("/notes/bound"), "null");
}

/* ---- life and threads ---- */

const std::function<int32_t()> all_calls[] = {
    stop_stream,
    start_stream,
    [] { return switch_ch5_res(1); },
    enable_wdr,
    disable_wdr,
    set_video_Vflip,
    set_video_normal,
    [] { return set_video_flicker(60); },
    [] { return set_isp_dnmode(1); },
    [] {
        int32_t mode = 0;
        return get_isp_dnmode(&mode);
    },
    [] {
        char record[ISP_EV_BYTES];
        return get_isp_ev(record);
    },
    [] {
        char record[ISP_WB_BYTES];
        return get_isp_wb(record);
    },
    [] {
        const char record[ISP_WB_BYTES] = {};
        return set_isp_wb(record);
    },
    [] { return control_ir_lamp(1); },
    enable_osd,
    disable_osd,
    [] { return osd_update_timestamp(0); },
    [] { return osd_display_track(1, 1, 5, 5); },
    osd_destory_track,
    [] { return set_md_sense(5, 4); },
    start_md,
    stop_md,
    [] { return set_lsd_threshold(5); },
    [] { return set_board_param(5, nullptr); },
};

TEST_F(BoardPicture, NothingCanBeSetBeforeTheBoardRunsOrAfterItsEnd) {
    start_boardd();
    for (const auto &call : all_calls) {
        EXPECT_LT(call(), 0);
    }
    const VencConfig profile = profile_of(h265_channel(64, 64), h264_channel(64, 64));
    ASSERT_EQ(control_venc_dynamically(&profile), 0);
    ASSERT_EQ(board_system_init(1), 0);
    for (const auto &call : all_calls) {
        EXPECT_EQ(call(), 0);
    }
    board_system_exit();
    for (const auto &call : all_calls) {
        EXPECT_LT(call(), 0);
    }
}

TEST_F(BoardPicture, MissingMemoryIsRefused) {
    start_picture();
    EXPECT_LT(get_isp_dnmode(nullptr), 0);
    EXPECT_LT(get_isp_ev(nullptr), 0);
    EXPECT_LT(get_isp_wb(nullptr), 0);
    EXPECT_LT(set_isp_wb(nullptr), 0);
}

TEST_F(BoardPicture, AFailedBoardFailsEveryCall) {
    start_picture();
    boardd_->signal(SIGKILL);
    ASSERT_TRUE(boardd_->wait());
    for (const auto &call : all_calls) {
        EXPECT_LT(call(), 0);
    }
}

TEST_F(BoardPicture, SettingsOutliveANewProfile) {
    start_picture(plain_source(orange));
    ASSERT_EQ(set_isp_dnmode(1), 0);
    ASSERT_EQ(disable_osd(), 0);
    const VencConfig profile = profile_of(h264_channel(192, 108, 20), h265_channel(64, 64, 20));
    ASSERT_EQ(control_venc_dynamically(&profile), 0);
    const Pixels pixels = shown();
    EXPECT_EQ(pixels.width, 192);
    EXPECT_NEAR(pixels.mean_chroma(1, everything), 128, 2);
}

TEST_F(BoardPicture, ManyThreadsMayCallAtOnce) {
    start_picture();
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&failures, i] {
            for (int round = 0; round < 15; ++round) {
                failures += all_calls[static_cast<size_t>((round + i * 7) % 24)]() < 0 ? 1 : 0;
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures, 0);
    ASSERT_EQ(start_stream(), 0);
    next_frame(0);
}

} // namespace
} // namespace contract
