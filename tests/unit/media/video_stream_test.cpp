// The video fetch threads: from the encoder's frame to the published message, and what happens when none
// comes.

#include "video_stream_fixture.h"

#include <algorithm>

namespace {

using namespace video;

class VideoStream : public VideoStreamOfChannel {};

INSTANTIATE_TEST_SUITE_P(Channel, VideoStream, testing::ValuesIn(rows),
                         [](const auto &row) { return std::string(row.param.name); });

// ---- frames ----

TEST_P(VideoStream, PublishesFrameAfterFrameWithoutSleeping) {
    run({frame(1), frame(2), frame(3)});
    EXPECT_EQ(journal(), joined({beginning(row_), fetched(row_), sent(row_, 1, 10), fetched(row_),
                                 sent(row_, 2, 10), fetched(row_), sent(row_, 3, 10)}));
    EXPECT_EQ(published(), (std::vector<uint32_t>{1, 2, 3}));
}

TEST_P(VideoStream, PutsTheHeaderVerbatimInFrontOfThePayload) {
    uint8_t header[header_bytes];
    for (uint32_t i = 0; i < header_bytes; ++i) {
        header[i] = static_cast<uint8_t>(0x81 + i);
    }
    constexpr uint32_t len = 300;
    memcpy(header + 16, &len, sizeof len);
    const uint8_t *payload_at = nullptr;
    script.get_video_stream = [&](int32_t, uint8_t *payload, uint32_t, VideoFrameInfo *info) {
        device_status.running = 0;
        payload_at = payload;
        static_assert(sizeof *info == sizeof header);
        memcpy(info, header, sizeof header);
        memset(payload, 0x5a, len);
        return 0;
    };
    int32_t channel = row_.channel;
    video_stream_thread(&channel);
    ASSERT_EQ(script.buffers.size(), 1U);
    const script::Buffer &buffer = *script.buffers[0];
    EXPECT_EQ(payload_at, static_cast<const uint8_t *>(buffer.address) + header_bytes);
    ASSERT_EQ(buffer.bytes.size(), header_bytes + len);
    EXPECT_EQ(memcmp(buffer.bytes.data(), header, sizeof header), 0);
    EXPECT_TRUE(std::all_of(buffer.bytes.begin() + header_bytes, buffer.bytes.end(),
                            [](uint8_t byte) { return byte == 0x5a; }));
}

TEST_P(VideoStream, PublishesFramesOfAnyLength) {
    run({{0, 1, 1, 1, 1}, {0, row_.capacity, 1, 2, 2}});
    ASSERT_EQ(script.buffers.size(), 2U);
    EXPECT_EQ(script.buffers[0]->bytes.size(), header_bytes + 1);
    EXPECT_EQ(script.buffers[1]->bytes.size(), header_bytes + row_.capacity);
}

TEST_P(VideoStream, TakesAnyResultThatIsNotNegativeForSuccess) {
    run({{1, 10, 1, 1, 1}, {409600, 10, 1, 2, 1}});
    EXPECT_EQ(published(), (std::vector<uint32_t>{1, 2}));
}

TEST_P(VideoStream, PublishesFramesThatAreNoKeyFramesAsLongAsNothingIsBroken) {
    run({frame(1, 0), frame(2, 0)});
    EXPECT_EQ(published(), (std::vector<uint32_t>{1, 2}));
}

TEST_P(VideoStream, WithoutReceiversDropsFramesWithoutSleeping) {
    media_channels[row_.channel].receivers = 0;
    run({frame(1), frame(2)});
    EXPECT_EQ(journal(), joined({beginning(row_),
                                 fetched(row_),
                                 {"shbf_set_size(buffer 1, 42)", "shbf_free(buffer 1)"},
                                 fetched(row_),
                                 {"shbf_set_size(buffer 2, 42)", "shbf_free(buffer 2)"}}));
}

TEST_P(VideoStream, LeavesAFrameThatCouldNotBePublishedToTheChannel) {
    script.broadcast = [] { return -1; };
    run({frame(1), frame(2)});
    EXPECT_EQ(script.count("shbf_free"), 2U);
    EXPECT_FALSE(script.has("usleep"));
}

TEST_P(VideoStream, DiscardsAFrameWithoutLength) {
    run({nothing, frame(5)});
    EXPECT_EQ(journal(),
              joined({beginning(row_), fetched(row_), dropped(1), fetched(row_), sent(row_, 2, 10)}));
}

TEST_P(VideoStream, WithoutABufferTriesAgainSilently) {
    script.alloc_fails = true;
    script.when(
        "usleep(20000)", [this] { script.alloc_fails = false; }, 3);
    run({frame(1)});
    const Entries no_buffer = {fetched(row_)[0], "usleep(20000)"};
    EXPECT_EQ(journal(),
              joined({beginning(row_), no_buffer, no_buffer, no_buffer, fetched(row_), sent(row_, 1, 10)}));
}

TEST_P(VideoStream, WithoutAChannelTriesAgainSilently) {
    media_channels[row_.channel].broadcaster = nullptr;
    script.when(
        "usleep(20000)", [] { device_status.running = 0; }, 2);
    int32_t channel = row_.channel;
    video_stream_thread(&channel);
    EXPECT_EQ(journal(), joined({beginning(row_), {"usleep(20000)", "usleep(20000)"}}));
}

// ---- when it rests, when it ends ----

TEST_P(VideoStream, WithTheRunFlagClearOnlyNamesItself) {
    device_status.running = 0;
    int32_t channel = row_.channel;
    video_stream_thread(&channel);
    EXPECT_EQ(journal(), beginning(row_));
}

TEST_P(VideoStream, DoesNotMindThatItCannotBeNamed) {
    script.prctl_result = -1;
    run({frame(1)});
    EXPECT_EQ(journal(), joined({beginning(row_), fetched(row_), sent(row_, 1, 10)}));
}

TEST_P(VideoStream, RestsUntilTheCameraIsBound) {
    for (const int bind_status : {0, 2, 255}) {
        script.journal.clear();
        device_status.bind_status = static_cast<uint8_t>(bind_status);
        script.when(
            "sleep(1)", [] { device_status.bind_status = 1; }, 3);
        run({frame(1)});
        EXPECT_EQ(journal(), joined({beginning(row_),
                                     {"sleep(1)", "sleep(1)", "sleep(1)"},
                                     fetched(row_),
                                     sent(row_, script.buffers.size(), 10)}));
    }
}

TEST_P(VideoStream, RestsWhileANewProfileIsApplied) {
    device_status.reload_boardav = 1;
    script.when(
        "sleep(1)", [] { device_status.reload_boardav = 0; }, 2);
    run({frame(1)});
    EXPECT_EQ(journal(),
              joined({beginning(row_), {"sleep(1)", "sleep(1)"}, fetched(row_), sent(row_, 1, 10)}));
}

TEST_P(VideoStream, RestsBetweenFramesToo) {
    script.when("shbfev_brd_broadcast", [] { device_status.reload_boardav = 1; });
    script.when("sleep(1)", [] { device_status.reload_boardav = 0; });
    run({frame(1), frame(2)});
    EXPECT_EQ(journal(), joined({beginning(row_),
                                 fetched(row_),
                                 sent(row_, 1, 10),
                                 {"sleep(1)"},
                                 fetched(row_),
                                 sent(row_, 2, 10)}));
}

TEST_P(VideoStream, EndsWhileItRests) {
    device_status.bind_status = 0;
    script.when("sleep(1)", [] { device_status.running = 0; });
    int32_t channel = row_.channel;
    video_stream_thread(&channel);
    EXPECT_EQ(journal(), joined({beginning(row_), {"sleep(1)"}}));
}

// ---- a broken stream ----

TEST_P(VideoStream, AsksForAKeyFrameAndDiscardsWhatComesBeforeIt) {
    run({key_frame_needed, frame(1, 0), frame(2, 0), frame(3, 0), frame(4, 1), frame(5, 0)});
    const std::string request = script::format("req_IDR_one(%d)", row_.channel);
    EXPECT_EQ(journal(), joined({beginning(row_),
                                 fetched(row_),
                                 {request},
                                 dropped(1),
                                 fetched(row_),
                                 dropped(2),
                                 fetched(row_),
                                 dropped(3),
                                 fetched(row_),
                                 dropped(4),
                                 fetched(row_),
                                 sent(row_, 5, 10),
                                 fetched(row_),
                                 sent(row_, 6, 10)}));
    EXPECT_EQ(published(), (std::vector<uint32_t>{4, 5}));
}

TEST_P(VideoStream, TakesAnyKeyFrameFlagButZeroForOne) {
    run({key_frame_needed, frame(1, 0), frame(2, 256)});
    EXPECT_EQ(published(), (std::vector<uint32_t>{2}));
}

TEST_P(VideoStream, AsksAgainEachTimeTheStreamBreaks) {
    run({key_frame_needed, key_frame_needed, frame(1, 0), frame(2, 1), frame(3, 0), key_frame_needed,
         frame(4, 0), frame(5, 1)});
    EXPECT_EQ(script.count("req_IDR_one"), 3U);
    EXPECT_EQ(published(), (std::vector<uint32_t>{2, 3, 5}));
}

TEST_P(VideoStream, GoesOnWaitingForTheKeyFrameOverErrorsAndEmptyFrames) {
    run({key_frame_needed, error, nothing, {0, 0, 1, 1, 1}, {-3, 10, 1, 1, 1}, frame(1, 0), frame(2, 1)});
    EXPECT_EQ(script.count("req_IDR_one"), 1U);
    EXPECT_EQ(published(), (std::vector<uint32_t>{2}));
}

TEST_P(VideoStream, MeasuresNothingOnFramesThatItDiscards) {
    run({key_frame_needed, frame(0, 0, 5), frame(1200, 0, 6)});
    EXPECT_FALSE(script.has("debug: "));
    EXPECT_EQ(journal(), joined({beginning(row_),
                                 fetched(row_),
                                 {script::format("req_IDR_one(%d)", row_.channel)},
                                 dropped(1),
                                 fetched(row_),
                                 dropped(2),
                                 fetched(row_),
                                 dropped(3)}));
}

// ---- the rate ----

TEST_P(VideoStream, LogsTheRateEveryTwelveHundredFrames) {
    run({frame(0, 1, 2000000), frame(1, 0, 2500000), frame(1199, 0, 79000000), frame(1200, 0, 82000000),
         frame(1201, 0, 83000000), frame(2400, 0, 142000000), frame(600, 0, 143000000)});
    const std::string rate = script::format("log: video_stream_thread(),video chn %d, fps: ", row_.channel);
    EXPECT_EQ(journal(), joined({beginning(row_),
                                 fetched(row_),
                                 {"debug: [video_stream_thread:190]>>>restart venc--------------------",
                                  rate + "600.000000\n"},
                                 sent(row_, 1, 10),
                                 fetched(row_),
                                 sent(row_, 2, 10),
                                 fetched(row_),
                                 sent(row_, 3, 10),
                                 fetched(row_),
                                 {rate + "15.000000\n"},
                                 sent(row_, 4, 10),
                                 fetched(row_),
                                 sent(row_, 5, 10),
                                 fetched(row_),
                                 {rate + "20.000000\n"},
                                 sent(row_, 6, 10),
                                 fetched(row_),
                                 sent(row_, 7, 10)}));
}

TEST_P(VideoStream, MeasuresFromTheRestartOfTheEncoderOn) {
    run({frame(1200, 1, 80000000), frame(0, 1, 100000000), frame(1200, 0, 140000000)});
    EXPECT_EQ(script.count("debug: [video_stream_thread:190]>>>restart venc--------------------"), 1U);
    EXPECT_EQ(rates(), (Entries{"fps: 15.000000\n", "fps: 60.000000\n", "fps: 30.000000\n"}));
}

TEST_P(VideoStream, MeasuresTimeInWholeMicrosecondsOfSixtyFourBits) {
    const uint64_t late = uint64_t{1} << 60;
    run({frame(1200, 1, late), frame(2400, 1, late + 48000001), frame(3600, 1, late)});
    // The last one goes back in time: unsigned, that is a very long while.
    EXPECT_EQ(rates(), (Entries{"fps: 0.000000\n", "fps: 24.999999\n", "fps: 0.000000\n"}));
}

TEST_P(VideoStream, LogsARateWithoutAnyTimeFourCharactersWide) {
    run({frame(1200, 1, 80000000), frame(2400, 0, 80000000)});
    EXPECT_EQ(rates(), (Entries{"fps: 15.000000\n", "fps:  inf\n"}));
}

TEST_F(VideoStreamTest, ThreadsShareNothingButTheFlags) {
    run(0, times(201, error) + Answers{key_frame_needed});
    script.journal.clear();
    run(1, Answers{error} + Answers{frame(1200, 0, 80000000)});
    EXPECT_EQ(journal(), joined({beginning(rows[1]),
                                 fetched(rows[1]),
                                 dropped(203),
                                 fetched(rows[1]),
                                 {"log: video_stream_thread(),video chn 1, fps: 15.000000\n"},
                                 sent(rows[1], 204, 10)}));
}

TEST_F(VideoStreamTest, DoesNotSetTheRunFlagOrAnyOther) {
    run(0, {frame(1)});
    EXPECT_EQ(device_status.running, 0);
    EXPECT_EQ(device_status.bind_status, 1);
    EXPECT_EQ(device_status.reload_boardav, 0);
}

} // namespace
