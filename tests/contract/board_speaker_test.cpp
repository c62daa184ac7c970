// libboardav.h, the speaker: what is played, how loud, how long it takes, and the echo in the microphone.

#include "board/boardd/audio/voice.h"
#include "board/boardd/audio/volume.h"
#include "board/client/control_call.h"
#include "contract/board_audio_fixture.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <sys/time.h>
#include <thread>
#include <unistd.h>

namespace contract {
namespace {

using BoardSpeaker = BoardSound;
using BoardEcho = BoardSound;

/* A microphone in a silent room. */
const std::vector<std::string> silent_room = {"--microphone", "audiotestsrc is-live=true wave=silence"};

Samples amplified(Samples samples, float gain) {
    for (int16_t &sample : samples) {
        sample = board::to_sample(static_cast<float>(sample) * gain);
    }
    return samples;
}

TEST_F(BoardSpeaker, WhatIsPlayedIsHeardSampleForSample) {
    start_sound();
    ASSERT_EQ(enable_speaker(), 0);
    const Samples samples = sound(12345, 16000);
    ASSERT_EQ(play(samples), 0);
    ASSERT_TRUE(played(12345));
    ASSERT_TRUE(support::eventually([&] { return heard().size() >= samples.size(); }));
    EXPECT_EQ(heard(), samples);
    EXPECT_EQ(status("/speaker/heard"), "12345");
    const auto probe =
        support::run({"ffprobe", "-v", "error", "-show_entries", "stream=codec_name,sample_rate,channels",
                      "-of", "csv=p=0", run_dir_.file("boardd_speaker.wav")});
    EXPECT_EQ(probe.output, "pcm_s16le,16000,1\n") << "while it grows";
}

TEST_F(BoardSpeaker, ManySoundsOfAllLengthsComeInOrder) {
    start_sound();
    ASSERT_EQ(enable_speaker(), 0);
    const Samples whole = sound(9000);
    size_t at = 0;
    for (size_t length = 1; at < whole.size(); length = (length * 7) % 1500 + 1) {
        const size_t end = std::min(at + length, whole.size());
        ASSERT_EQ(play({whole.begin() + static_cast<std::ptrdiff_t>(at),
                        whole.begin() + static_cast<std::ptrdiff_t>(end)}),
                  0);
        at = end;
    }
    ASSERT_TRUE(support::eventually([&] { return heard().size() >= whole.size(); }));
    EXPECT_EQ(heard(), whole);
}

TEST_F(BoardSpeaker, NothingAndHalfASampleAreNothing) {
    start_sound();
    ASSERT_EQ(enable_speaker(), 0);
    const char bytes[] = {1, 2, 3};
    EXPECT_EQ(play_sound(bytes, 0), 0);
    EXPECT_EQ(play_sound(bytes, 1), 0);
    EXPECT_EQ(play_sound(bytes, 3), 0);
    ASSERT_TRUE(played(1));
    ASSERT_TRUE(support::eventually([&] { return !heard().empty(); }));
    EXPECT_EQ(heard(), Samples{0x0201});
}

TEST_F(BoardSpeaker, WhileItIsDisabledNobodyHearsIt) {
    start_sound();
    ASSERT_EQ(play(sound(4000)), 0) << "it takes its time all the same";
    ASSERT_TRUE(played(4000));
    ASSERT_EQ(enable_speaker(), 0);
    ASSERT_EQ(play(sound(1000)), 0);
    ASSERT_TRUE(played(5000));
    ASSERT_EQ(disable_speaker(), 0);
    ASSERT_TRUE(support::eventually([&] { return status("/speaker/enabled") == "false"; }));
    ASSERT_EQ(play(sound(4000)), 0);
    ASSERT_TRUE(played(9000));
    EXPECT_EQ(heard(), sound(1000));
    EXPECT_EQ(status("/speaker/heard"), "1000");
}

TEST_F(BoardSpeaker, TheVolumeScalesWhatIsHeard) {
    start_sound();
    ASSERT_EQ(enable_speaker(), 0);
    const Samples samples = sound(640, 16000);
    Samples expected;
    const auto play_at = [&](int32_t set_result, int32_t volume) {
        ASSERT_EQ(set_result, 0);
        ASSERT_EQ(status_number("/speaker/volume"), volume);
        const Samples louder = without_silence(amplified(samples, board::gain_of_volume(volume)));
        expected.insert(expected.end(), louder.begin(), louder.end());
        const auto before = static_cast<size_t>(status_number("/speaker/played"));
        ASSERT_EQ(play(samples), 0);
        ASSERT_TRUE(played(before + 640));
        ASSERT_TRUE(support::eventually([&] { return heard().size() >= expected.size(); }));
    };
    play_at(0, 100);
    play_at(set_speaker_vol(50), 50);
    play_at(set_speaker_vol(0), 0);
    play_at(set_speaker_talking_vol(), 90);
    play_at(set_speaker_vol_default(), 100);
    play_at(set_speaker_vol(1), 1);
    EXPECT_EQ(heard(), expected);
}

TEST_F(BoardSpeaker, AVolumeOutOfRangeIsRefusedAndTheOldOneStays) {
    start_sound();
    ASSERT_EQ(set_speaker_vol(30), 0);
    for (const int32_t volume : {-1, 101, 2147483647, -2147483647}) {
        EXPECT_LT(set_speaker_vol(volume), 0) << volume;
    }
    EXPECT_EQ(status("/speaker/volume"), "30");
}

TEST_F(BoardSpeaker, PlayingTakesAboutAsLongAsTheSound) {
    start_sound();
    const uint64_t before_us = monotonic_us();
    ASSERT_EQ(play(sound(3 * sample_rate)), 0);
    // Less what the queue takes ahead, and what a thread that came late makes up for.
    EXPECT_GT(monotonic_us() - before_us, 1'800'000U);
}

TEST_F(BoardSpeaker, OtherCallsDoNotWaitForASound) {
    start_sound();
    std::atomic<bool> done{false};
    std::thread player([&] {
        EXPECT_EQ(play(sound(2 * sample_rate)), 0);
        done = true;
    });
    ASSERT_TRUE(played(1));
    EXPECT_EQ(enable_aec(), 0);
    EXPECT_EQ(req_IDR_one(0), 0);
    EXPECT_EQ(set_speaker_vol(70), 0);
    next_block();
    EXPECT_FALSE(done) << "the sound was over too soon to tell";
    player.join();
}

TEST_F(BoardSpeaker, ASoundEndsAtOnceWithTheBoard) {
    start_sound();
    int32_t result = 0;
    std::thread player([&] { result = play(sound(300 * sample_rate)); });
    ASSERT_TRUE(played(1));
    const uint64_t before_us = monotonic_us();
    board_system_exit();
    player.join();
    EXPECT_LT(monotonic_us() - before_us, 20'000'000U) << "of five minutes";
    EXPECT_EQ(result, -1);
    EXPECT_EQ(play(sound(10)), -1);
}

TEST_F(BoardSpeaker, ASoundEndsWhenTheBoardIsKilled) {
    start_sound();
    int32_t result = 0;
    std::thread player([&] { result = play(sound(300 * sample_rate)); });
    ASSERT_TRUE(played(1));
    boardd_->signal(SIGKILL);
    player.join();
    EXPECT_EQ(result, -1);
    EXPECT_EQ(enable_speaker(), -1);
}

TEST_F(BoardSpeaker, AnySinkWillDo) {
    const std::string path = run_dir_.file("sink.pcm");
    start_board(profile_of(h265_channel(64, 64), h264_channel(64, 64)),
                {"--speaker", "filesink buffer-mode=unbuffered location=" + path});
    ASSERT_EQ(enable_speaker(), 0);
    const Samples samples = sound(4000);
    ASSERT_EQ(play(samples), 0);
    Samples written;
    EXPECT_TRUE(support::eventually([&] {
        std::ifstream file(path, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        written.resize(bytes.size() / sizeof(int16_t));
        std::memcpy(written.data(), bytes.data(), written.size() * sizeof(int16_t));
        written = without_silence(written);
        return written.size() >= samples.size();
    }));
    EXPECT_EQ(written, samples);
}

TEST_F(BoardSpeaker, ASinkThatFailsIsNamedAndNothingWaitsForIt) {
    start_board(profile_of(h265_channel(64, 64), h264_channel(64, 64)),
                {"--speaker", "alsasink device=hw:77"});
    EXPECT_TRUE(boardd_->saw("speaker \"alsasink device=hw:77\" failed:")) << boardd_->output();
    ASSERT_EQ(enable_speaker(), 0);
    EXPECT_EQ(play(sound(6000)), 0);
    next_block();
}

TEST_F(BoardSpeaker, OptionsThatMakeNoSenseAreRefused) {
    for (const char *const echo :
         {"", "40", "40,", "-1,12", "101,12", "40,61", "40,12,101", "40,12,60,1", "on"}) {
        const auto outcome =
            support::run(support::BoardProcess::command({"--echo", echo}), support::board_environment());
        EXPECT_EQ(outcome.exit_code, 2) << echo;
        EXPECT_NE(outcome.output.find("--echo takes"), std::string::npos) << outcome.output;
    }
}

TEST_F(BoardSpeaker, WhatIsNoSoundIsRefused) {
    start_sound();
    const int fd = board::control_connect(board::monotonic_us() + 2'000'000);
    ASSERT_GE(fd, 0);
    uint32_t id = 1;
    for (const uint32_t bytes : {0U, 1U, 3U, 1282U, 0xffffffffU}) {
        const board::PlayRecord record = {bytes, 0, {}};
        int32_t result = 0;
        ASSERT_EQ(board::control_call(fd, id++, {board::op_play, 0, &record, sizeof record, nullptr, 0},
                                      board::monotonic_us() + 10'000'000, &result),
                  0);
        EXPECT_EQ(result, -EINVAL) << bytes;
    }
    close(fd);
}

TEST_F(BoardSpeaker, SoundsThatNobodyWaitsForDoNotFillTheMemory) {
    start_sound();
    const int fd = board::control_connect(board::monotonic_us() + 2'000'000);
    ASSERT_GE(fd, 0);
    const board::PlayRecord record = {board::play_max_bytes, 0, {}};
    const board::ControlCall call = {board::op_play, 0, &record, sizeof record, nullptr, 0};
    uint32_t id = 1;
    int32_t result = 0;
    for (; id <= 50 && board::control_send(fd, id, call) == 0; ++id) {
    }
    ASSERT_EQ(id, 51U);
    // Who is refused is answered before those who wait.
    ASSERT_EQ(board::control_receive(fd, id - 1, call, board::monotonic_us() + 10'000'000, &result), 0);
    EXPECT_EQ(result, -EBUSY);
    close(fd);
    EXPECT_EQ(enable_speaker(), 0);
}

/* ---- called from a signal handler, as the daemon does it ---- */

std::atomic<uint32_t> hushes{0};

void on_alarm(int /*signal*/) {
    if (disable_aec() == 0 && disable_speaker() == 0) {
        hushes.fetch_add(1);
    }
}

TEST_F(BoardSpeaker, ASignalHandlerMaySwitchOffInTheMiddleOfEverything) {
    start_sound();
    std::signal(SIGALRM, on_alarm);
    const itimerval every_2_ms = {{0, 2000}, {0, 2000}};
    setitimer(ITIMER_REAL, &every_2_ms, nullptr);
    std::thread player([] { EXPECT_EQ(play(sound(sample_rate)), 0); });
    std::thread caller([] {
        for (int i = 0; i < 200; ++i) {
            EXPECT_EQ(enable_speaker(), 0);
            EXPECT_EQ(enable_aec(), 0);
        }
    });
    EXPECT_TRUE(support::eventually([&] {
        next_block();
        return hushes > 100 || HasFailure();
    }));
    caller.join();
    player.join();
    const itimerval off = {};
    setitimer(ITIMER_REAL, &off, nullptr);
    EXPECT_EQ(enable_speaker(), 0);
    EXPECT_EQ(enable_aec(), 0);
    EXPECT_EQ(status("/speaker/enabled"), "true") << "in the order of the calls";
    EXPECT_EQ(status("/speaker/aec"), "true");
    std::raise(SIGALRM);
    EXPECT_TRUE(support::eventually(
        [&] { return status("/speaker/enabled") == "false" && status("/speaker/aec") == "false"; }));
    next_block();
}

/* ---- the echo ---- */

TEST_F(BoardEcho, WhatIsPlayedComesBackWeaker) {
    std::vector<std::string> options = silent_room;
    options.insert(options.end(), {"--echo", "40,12,0"});
    start_sound(options);
    ASSERT_EQ(enable_speaker(), 0);
    const Samples samples = sound(6000, 16000);
    const Samples expected = without_silence(amplified(samples, board::gain_of_db(-12)));
    std::thread player([&] { EXPECT_EQ(play(samples), 0); });
    Samples captured;
    EXPECT_TRUE(support::eventually([&] {
        const Samples more = without_silence(next_block().samples);
        captured.insert(captured.end(), more.begin(), more.end());
        return captured.size() >= expected.size() || HasFailure();
    }));
    player.join();
    EXPECT_EQ(captured, expected);
}

TEST_F(BoardEcho, OffMeansOff) {
    std::vector<std::string> options = silent_room;
    options.insert(options.end(), {"--echo", "off"});
    start_sound(options);
    ASSERT_EQ(enable_speaker(), 0);
    ASSERT_EQ(play(sound(6000)), 0);
    ASSERT_TRUE(played(6000));
    EXPECT_EQ(energy(next_sound(20)), 0);
}

TEST_F(BoardEcho, TheCancellerTakesItAway) {
    start_sound(silent_room);
    ASSERT_EQ(enable_speaker(), 0);
    Samples speech(5 * sample_rate);
    board::Voice(1).speak(0, speech);
    const auto loudness = [&] { // of the last part of what comes back
        const auto before = static_cast<size_t>(status_number("/speaker/played"));
        std::thread player([&] { EXPECT_EQ(play(speech), 0); });
        EXPECT_TRUE(played(before + 2 * sample_rate));
        next_sound(5); // what has waited
        const double sum = energy(next_sound(50));
        player.join();
        EXPECT_TRUE(played(before + 5 * sample_rate));
        return sum;
    };
    const double with_echo = loudness();
    ASSERT_EQ(enable_aec(), 0);
    const double without_echo = loudness();
    EXPECT_GT(with_echo, 100 * without_echo) << "20 dB";
}

} // namespace
} // namespace contract
