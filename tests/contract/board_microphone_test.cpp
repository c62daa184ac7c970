// libboardav.h, the microphone: blocks and their times, what is heard, and failures on demand.

#include "board/boardd/audio/voice.h"
#include "contract/board_audio_fixture.h"

#include <csignal>

namespace contract {
namespace {

using BoardMicrophone = BoardSound;
using BoardMicrophoneSource = BoardSound;

/* The index at which the synthetic voice says this, or -1 within its first minute. */
int64_t index_in_voice(const Samples &samples) {
    Samples said(samples.size());
    for (uint64_t index = 0; index < 60 * sample_rate; index += 640) {
        board::Voice().speak(index, said);
        if (said == samples) {
            return static_cast<int64_t>(index);
        }
    }
    return -1;
}

TEST_F(BoardMicrophone, BringsABlockEvery40Milliseconds) {
    const uint64_t before_us = monotonic_us();
    start_sound();
    std::vector<Block> blocks;
    for (int i = 0; i < 40 && !HasFailure(); ++i) {
        blocks.push_back(next_block());
    }
    EXPECT_GT(blocks.front().info.timestamp_us, before_us);
    EXPECT_LE(blocks.back().info.timestamp_us + block_us, monotonic_us()) << "from the future";
    size_t regular = 0;
    for (size_t i = 1; i < blocks.size(); ++i) {
        const uint64_t step_us = blocks[i].info.timestamp_us - blocks[i - 1].info.timestamp_us;
        EXPECT_GE(step_us, block_us);
        regular += step_us == block_us; // unless the machine stood still for a second
    }
    EXPECT_GT(regular, blocks.size() / 2);
    for (const Block &block : blocks) {
        const AudioFrameInfo expected = {0, 0, 0, 0, block.info.timestamp_us, block_bytes, 0};
        EXPECT_EQ(std::memcmp(&block.info, &expected, sizeof expected), 0);
    }
}

TEST_F(BoardMicrophone, HearsTheSyntheticVoiceFromItsBeginning) {
    start_sound();
    // The first few may be silence, which sounds the same everywhere: look where the first sound is.
    Block first{};
    ASSERT_TRUE(support::eventually([&] {
        first = next_block();
        return energy(first.samples) > 0 || HasFailure();
    }));
    const int64_t index = index_in_voice(first.samples);
    ASSERT_GE(index, 0);
    const Samples captured = next_sound(50);
    Samples said(captured.size());
    board::Voice().speak(static_cast<uint64_t>(index) + 640, said);
    EXPECT_EQ(captured, said);
}

TEST_F(BoardMicrophone, HearsWhileThePictureIsStalledAndTheCameraIsUnbound) {
    start_boardd({"--speaker", "wav"});
    const VencConfig profile = profile_of(h265_channel(64, 64), h264_channel(64, 64));
    ASSERT_EQ(control_venc_dynamically(&profile), 0);
    ASSERT_EQ(board_system_init(0), 0);
    board::BoardCtl().stall(board::all_channels);
    next_sound(10);
    board::BoardCtl().answer_fetches(board::all_channels, -1, 0);
    next_sound(10);
}

TEST_F(BoardMicrophone, ANewProfileLeavesNoGap) {
    start_sound();
    uint64_t last_us = next_block().info.timestamp_us;
    const VencConfig other = profile_of(h265_channel(128, 96), h264_channel(64, 64));
    std::thread changes([&] { EXPECT_EQ(control_venc_dynamically(&other), 0); });
    for (int i = 0; i < 25 && !HasFailure(); ++i) {
        const uint64_t now_us = next_block().info.timestamp_us;
        EXPECT_EQ(now_us, last_us + block_us);
        last_us = now_us;
    }
    changes.join();
}

TEST_F(BoardMicrophone, AClientThatComesBackHearsWhatIsNew) {
    start_sound();
    const uint64_t first_us = next_block().info.timestamp_us;
    ASSERT_TRUE(support::eventually([&] { return status_number("/microphone/skips") > 0; }));
    Block block = next_block();
    EXPECT_GT(block.info.timestamp_us, first_us + block_us) << "it should have been too old";
}

TEST_F(BoardMicrophone, IsNotThereBeforeInitAndAfterExit) {
    char bytes[block_bytes] = "";
    AudioFrameInfo info{};
    const auto all_fail = [&] {
        EXPECT_LT(get_audio_stream(bytes, sizeof bytes, &info), 0);
        EXPECT_LT(play_sound(bytes, sizeof bytes), 0);
        EXPECT_LT(enable_speaker(), 0);
        EXPECT_LT(disable_speaker(), 0);
        EXPECT_LT(enable_aec(), 0);
        EXPECT_LT(disable_aec(), 0);
        EXPECT_LT(set_speaker_vol(50), 0);
        EXPECT_LT(set_speaker_talking_vol(), 0);
        EXPECT_LT(set_speaker_vol_default(), 0);
    };
    start_boardd();
    all_fail();
    const VencConfig profile = profile_of(h265_channel(64, 64), h264_channel(64, 64));
    ASSERT_EQ(control_venc_dynamically(&profile), 0);
    all_fail();
    ASSERT_EQ(board_system_init(1), 0);
    next_block();
    board_system_exit();
    all_fail();
}

TEST_F(BoardMicrophone, FailsWithTheBoard) {
    start_sound();
    next_block();
    boardd_->signal(SIGKILL);
    Block block{};
    EXPECT_TRUE(support::eventually([&] { return fetch_sound(block) == -1; }));
    EXPECT_EQ(fetch_sound(block), -1) << "for good";
}

/* ---- failures on demand ---- */

TEST_F(BoardMicrophone, FailsForSoManyFetchesAndGoesOn) {
    start_sound();
    next_block();
    board::BoardCtl().answer_fetches(board::microphone_channel, -1, 262);
    Block block{};
    ASSERT_TRUE(support::eventually([&] { return fetch_sound(block) == -1; }));
    int failures = 1;
    while (failures < 1000 && fetch_sound(block) == -1) {
        ++failures;
    }
    EXPECT_EQ(failures, 262);
    next_sound(3);
    EXPECT_EQ(status("/microphone/fault"), "null");
}

TEST_F(BoardMicrophone, BringsEmptyBlocksUntilCleared) {
    start_sound();
    board::BoardCtl().answer_fetches(board::microphone_channel, 0, 0);
    Block block{};
    ASSERT_TRUE(support::eventually([&] { return fetch_sound(block) == 0 && block.info.len == 0; }));
    for (int i = 0; i < 300; ++i) {
        ASSERT_EQ(fetch_sound(block), 0);
        ASSERT_EQ(block.info.len, 0U);
    }
    EXPECT_EQ(status("/microphone/fault/kind"), "fetch");
    board::BoardCtl().clear_faults(board::microphone_channel);
    next_sound(3);
}

TEST_F(BoardMicrophone, StallsUntilAllFaultsAreCleared) {
    start_sound();
    board::BoardCtl().stall(board::microphone_channel);
    Block block{};
    ASSERT_TRUE(support::eventually([&] { return fetch_sound(block) == 0 && block.info.len == 0; }));
    EXPECT_EQ(fetch_sound(block), 0);
    EXPECT_TRUE(picture_comes());
    board::BoardCtl().clear_faults();
    next_sound(3);
}

TEST_F(BoardMicrophone, BoardctlKnowsIt) {
    start_sound();
    const auto ctl = [](const std::vector<std::string> &words) {
        std::vector<std::string> command = {STRELL_BIN_DIR "/boardctl"};
        command.insert(command.end(), words.begin(), words.end());
        return support::run(command);
    };
    EXPECT_EQ(ctl({"fail", "mic", "7"}).exit_code, 0);
    EXPECT_EQ(status("/microphone/fault/count"), "7");
    EXPECT_EQ(ctl({"lose", "mic"}).exit_code, 1) << "there is no such thing";
    EXPECT_EQ(ctl({"stall", "mic"}).exit_code, 0);
    EXPECT_EQ(status("/microphone/fault/kind"), "stall");
    EXPECT_EQ(ctl({"clear", "mic"}).exit_code, 0);
    EXPECT_EQ(status("/microphone/fault"), "null");
}

/* ---- other sources ---- */

TEST_F(BoardMicrophoneSource, AFileIsPlayedInALoop) {
    const std::string path = run_dir_.file("tone.wav");
    const auto made = support::run({"ffmpeg", "-v", "error", "-f", "lavfi", "-i",
                                    "sine=frequency=500:sample_rate=44100:duration=0.4", "-ac", "2", path});
    ASSERT_EQ(made.exit_code, 0) << made.output;
    start_sound({"--microphone", path});
    size_t sounding = 0;
    EXPECT_TRUE(support::eventually([&] { // more than the file has
        sounding += energy(next_block().samples) > 1e6;
        return sounding > 30 || HasFailure();
    })) << sounding;
}

TEST_F(BoardMicrophoneSource, AnySourceWillDo) {
    start_sound({"--microphone", "audiotestsrc is-live=true wave=square volume=0.5"});
    EXPECT_TRUE(support::eventually([&] { return energy(next_block().samples) > 1e9 || HasFailure(); }));
}

TEST_F(BoardMicrophoneSource, OneThatFailsIsReportedAfterATimeAndThePictureGoesOn) {
    start_sound({"--microphone", run_dir_.file("missing.wav")});
    next_sound(3); // silence, at first
    EXPECT_TRUE(boardd_->saw("missing.wav\" failed:")) << boardd_->output();
    Block block{};
    EXPECT_TRUE(support::eventually([&] { return fetch_sound(block) == -1; }));
    EXPECT_NE(status("/microphone/error"), "");
    EXPECT_EQ(boardd_->count("missing.wav\" failed:"), 1U) << "said once: " << boardd_->output();
    EXPECT_TRUE(picture_comes());
}

TEST_F(BoardMicrophoneSource, OneThatMakesNoSenseIsNamed) {
    start_sound({"--microphone", "nosuchelement"});
    EXPECT_TRUE(boardd_->saw("no element \"nosuchelement\"")) << boardd_->output();
}

TEST_F(BoardMicrophoneSource, HearsABurstOfNoise) {
    start_sound({"--microphone", "audiotestsrc is-live=true wave=silence"});
    ASSERT_TRUE(support::eventually([&] { return energy(next_block().samples) == 0 || HasFailure(); }));
    board::BoardCtl().burst({-20, 1000});
    const auto loud = [&] { return energy(next_block().samples) > 0 || HasFailure(); };
    EXPECT_TRUE(support::eventually(loud));
    EXPECT_TRUE(support::eventually([&] { return !loud() || HasFailure(); })) << "it never ends";
}

} // namespace
} // namespace contract
