// The video fetch threads over an encoder that fails: what is counted, and when the process asks itself to
// end.

#include "video_stream_fixture.h"

#include <algorithm>

namespace {

using namespace video;

class VideoErrors : public VideoStreamOfChannel {};

INSTANTIATE_TEST_SUITE_P(Channel, VideoErrors, testing::ValuesIn(rows),
                         [](const auto &row) { return std::string(row.param.name); });

// ---- an encoder that fails ----

TEST_P(VideoErrors, BearsTwoHundredAndOneErrorsInARowSilently) {
    run(times(201, error));
    Entries expected = beginning(row_);
    for (size_t i = 1; i <= 201; ++i) {
        expected = joined({expected, fetched(row_), dropped(i)});
    }
    EXPECT_EQ(journal(), expected);
}

TEST_P(VideoErrors, GivesUpAtTheTwoHundredAndSecondErrorAndAtEveryOneAfterIt) {
    run(times(204, error));
    const Entries expected =
        joined({fetched(row_), gives_up(row_, 202), dropped(202), fetched(row_), gives_up(row_, 203),
                dropped(203), fetched(row_), gives_up(row_, 204), dropped(204)});
    const Entries lines = journal();
    EXPECT_EQ(Entries(lines.end() - static_cast<ptrdiff_t>(expected.size()), lines.end()), expected);
    EXPECT_EQ(reports(), 3U);
}

TEST_P(VideoErrors, NamesTheResultOfTheKill) {
    script.kill_result = -1;
    run(times(202, error));
    const Entries lines = journal();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "log: strell:video kill ret=-1"), 1);
}

TEST_P(VideoErrors, EndsWhenItsOwnKillHasClearedTheRunFlag) {
    script.get_video_stream = [](int32_t, uint8_t *, uint32_t, VideoFrameInfo *) { return -1; };
    script.when("kill(self", [] { device_status.running = 0; });
    int32_t channel = row_.channel;
    video_stream_thread(&channel);
    EXPECT_EQ(script.count("kill("), 1U);
    EXPECT_EQ(script.journal.back(), "usleep(20000)");
}

TEST_P(VideoErrors, ForgetsErrorsAtAGoodFrame) {
    run(times(201, error) + Answers{frame(1)} + times(201, error));
    EXPECT_EQ(reports(), 0U);
}

TEST_P(VideoErrors, ForgetsErrorsAtAGoodFrameThatItDiscards) {
    run(Answers{key_frame_needed} + times(201, error) + Answers{frame(1, 0)} + times(201, error));
    EXPECT_EQ(reports(), 0U);
}

TEST_P(VideoErrors, ForgetsErrorsAtAFrameThatNobodyReceives) {
    media_channels[row_.channel].receivers = 0;
    run(times(201, error) + Answers{frame(1)} + times(201, error));
    EXPECT_EQ(reports(), 0U);
}

TEST_P(VideoErrors, CountsErrorsAnewAfterItHadGivenUp) {
    run(times(203, error) + Answers{frame(1)} + times(201, error));
    EXPECT_EQ(reports(), 2U);
}

struct NoGoodFrame {
    const char *name;
    Answer answer;
};

class VideoErrorsInARow : public VideoStreamTest, public testing::WithParamInterface<NoGoodFrame> {};

TEST_P(VideoErrorsInARow, AreRemembered) {
    run(0, times(201, error) + Answers{GetParam().answer});
    EXPECT_EQ(script.count("report_stat_object"), 0U); // not counted itself
    run(0, times(201, error) + Answers{GetParam().answer, error});
    EXPECT_EQ(script.count("report_stat_object"), 1U);
    const Entries lines = journal();
    EXPECT_EQ(std::count(lines.begin(), lines.end(),
                         "log: video_stream_thread(),fetch chn 0 video error for 202 times, exit\n"),
              1);
}

INSTANTIATE_TEST_SUITE_P(Over, VideoErrorsInARow,
                         testing::Values(NoGoodFrame{"AFrameWithoutLength", nothing},
                                         NoGoodFrame{"APositiveResultWithoutLength", {5, 0, 1, 0, 0}},
                                         NoGoodFrame{"AKeyFrameNeeded", key_frame_needed},
                                         NoGoodFrame{"AnyOtherNegativeResult", {-3, 10, 1, 1, 1}}),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(VideoStreamTest, ErrorsAreRememberedOverARest) {
    script.when(
        "usleep(20000)", [] { device_status.reload_boardav = 1; }, 201);
    script.when("sleep(1)", [] { device_status.reload_boardav = 0; });
    run(0, times(202, error));
    EXPECT_EQ(script.count("sleep(1)"), 1U);
    EXPECT_EQ(script.count("report_stat_object"), 1U);
}

TEST_F(VideoStreamTest, ErrorsAreRememberedWhenThereIsNoBuffer) {
    script.when(
        "usleep(20000)", [this] { script.alloc_fails = true; }, 201);
    script.when(
        "usleep(20000)", [this] { script.alloc_fails = false; }, 202);
    run(0, times(202, error));
    EXPECT_EQ(script.count("report_stat_object"), 1U);
}

TEST_P(VideoErrors, OtherNegativeResultsAreRetriedSilently) {
    run({{-3, 10, 1, 1, 1}, {INT32_MIN, 10, 1, 1, 1}, {-22, 0, 0, 0, 0}});
    EXPECT_EQ(journal(), joined({beginning(row_), fetched(row_), dropped(1), fetched(row_), dropped(2),
                                 fetched(row_), dropped(3)}));
}

} // namespace
