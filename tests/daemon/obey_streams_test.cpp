// What settings do to the streams while receivers stay attached: the camera is switched off, loses its owner,
// gets another encoder profile.

#include "board/boardctl.h"
#include "daemon/film.h"
#include "daemon/frames.h"
#include "daemon/witness.h"
#include "tools/ctl.h"

#include <gtest/gtest.h>

using ctl_test::run_ctl;
using daemon_test::Frame;
using daemon_test::next_frame;
using daemon_test::Witness;
using support::eventually;
using support::System;

namespace {

constexpr const char *main_path = "/run/video_mainstream";
constexpr const char *sub_path = "/run/video_substream";

class ObeyStreams : public testing::Test {
  protected:
    ObeyStreams() { system_.start({"--source", daemon_test::colour_bars}); }

    static void set(const std::string &key, const std::string &value) {
        const auto outcome = run_ctl({"set", key, value}, support::Leaks::not_sought);
        ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
    }
    static bool board_says(const std::string &text) {
        return eventually([&] { return board::BoardCtl().status().find(text) != std::string::npos; });
    }

    System system_;
};

/* Takes what is on its way, until nothing comes for as long as ten frames take. */
bool falls_silent(const support::ReceiverHandle &receiver) {
    constexpr int32_t ten_frames_ms = 667;
    return eventually([&] { return !daemon_test::frame_within(receiver, ten_frames_ms).has_value(); });
}

TEST_F(ObeyStreams, PowerOffStopsBothStreamsAndOnGoesOnWithAKeyFrame) {
    const auto main = support::attach(main_path);
    const auto sub = support::attach(sub_path);
    const daemon_test::SoundWitness sound("/run/audio_in");
    ASSERT_NO_FATAL_FAILURE(set("power", "off"));
    ASSERT_TRUE(falls_silent(main));
    ASSERT_TRUE(falls_silent(sub));
    EXPECT_TRUE(sound.sees(20)) << "the microphone goes on";
    ASSERT_NO_FATAL_FAILURE(set("power", "on"));
    for (const auto *receiver : {&main, &sub}) {
        const Frame first = next_frame(*receiver);
        EXPECT_NE(first.info.is_key, 0U);
        EXPECT_EQ(next_frame(*receiver).info.seq, first.info.seq + 1);
    }
}

TEST_F(ObeyStreams, ACameraThatIsOffAnswersNoRequests) {
    ASSERT_NO_FATAL_FAILURE(set("power", "off"));
    ASSERT_TRUE(board_says(R"("streaming":false)"));
    const auto jpeg = support::attach("/run/jpeg_snap");
    const auto raw = support::attach("/run/video_rawstream");
    const auto player = support::attach("/run/audio_play");
    ASSERT_EQ(shbf_rcv_send(jpeg.get(), "REQ_SNAPSHOT_A", 14), 0);
    ASSERT_EQ(shbf_rcv_send(raw.get(), "x", 1), 0);
    ASSERT_EQ(shbf_rcv_send(player.get(), "SOUND_BAN", 9), 0);
    ASSERT_EQ(shbf_rcv_send(player.get(), std::string(1280, 'x').data(), 1280), 0);
    EXPECT_FALSE(daemon_test::frame_within(jpeg, 1000).has_value());
    EXPECT_FALSE(daemon_test::frame_within(raw, 1000).has_value());
    ASSERT_NO_FATAL_FAILURE(set("power", "on"));
    ASSERT_TRUE(board_says(R"("streaming":true)"));
    // What came while it was off is not made up for: the next message is the next answer's.
    ASSERT_EQ(shbf_rcv_send(jpeg.get(), "REQ_SNAPSHOT_R", 14), 0);
    EXPECT_EQ(next_frame(jpeg).info.board24, 0U);
    EXPECT_EQ(system_.daemon->count("recv disable speaker cmd"), 0U);
    EXPECT_EQ(system_.daemon->count("###enable_aec###"), 0U);
}

TEST_F(ObeyStreams, ACameraWithoutOwnerBringsNoVideoUntilItHasOne) {
    const auto main = support::attach(main_path);
    const auto sub = support::attach(sub_path);
    ASSERT_NO_FATAL_FAILURE(set("bind_status", "no"));
    ASSERT_TRUE(falls_silent(main));
    ASSERT_TRUE(falls_silent(sub));
    ASSERT_NO_FATAL_FAILURE(set("bind_status", "ok"));
    for (const auto *receiver : {&main, &sub}) {
        EXPECT_FALSE(next_frame(*receiver).payload.empty());
    }
}

/* What a receiver finds behind a new profile: frames of the old one, then the new one's, from a key frame on.
 */
Frame first_of(const support::ReceiverHandle &receiver, uint32_t size) {
    Frame frame = next_frame(receiver);
    while (frame.info.board24 != size && !testing::Test::HasFailure()) {
        frame = next_frame(receiver);
    }
    return frame;
}

TEST_F(ObeyStreams, ANewProfileIsTakenOverInTwoWritesWhileAllStayAttached) {
    constexpr uint32_t old_size = 640U | 360U << 16;
    constexpr uint32_t new_size = 1280U | 720U << 16;
    const daemon_test::Picture before = daemon_test::still(system_, "main");
    const auto main = support::attach(main_path);
    const Witness sub(sub_path);
    const daemon_test::SoundWitness sound("/run/audio_in");
    EXPECT_EQ(next_frame(main).info.board0, 1U) << "H.265";
    ASSERT_NO_FATAL_FAILURE(
        set("hot_config", R"({"id":0,"icon":0,"cch":0,"pt":[0,0],"bps":[5,0],"fps":[15,15],"res":[1,2]})"));
    ASSERT_TRUE(system_.daemon->saw("info hot_config_cb(),["));
    for (int i = 0; i < 15; ++i) {
        ASSERT_EQ(next_frame(main).info.board24, old_size) << "the first write changes nothing";
    }
    ASSERT_NO_FATAL_FAILURE(set("hot_status", "changing"));
    EXPECT_TRUE(eventually([] {
        return run_ctl({"get", "hot_status"}, support::Leaks::not_sought).output == "changed\n";
    }));
    const Frame first = first_of(main, new_size);
    EXPECT_NE(first.info.is_key, 0U);
    EXPECT_EQ(first.info.board0, 0U) << "H.264";
    EXPECT_TRUE(sub.sees(30));
    EXPECT_TRUE(sound.sees(50));
    EXPECT_EQ(sound.lost(), 0U) << "sound rests, but leaves out no number";
    EXPECT_EQ(sound.restarts(), 0U);
    const daemon_test::Picture after = daemon_test::still(system_, "main");
    EXPECT_EQ(after.width, 1280);
    EXPECT_EQ(after.height, 720);
    EXPECT_GT(daemon_test::likeness(before, after), 0.95) << "the same scene, larger";
}

} // namespace
