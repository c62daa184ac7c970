// What other processes ask of the daemon while it runs, on a board that does it: settings, sound, pictures.

#include "board/boardctl.h"
#include "daemon/frames.h"
#include "support/system.h"

#include <gtest/gtest.h>
#include <string>
#include <sys/shm.h>

using support::eventually;
using support::System;

namespace {

class Obey : public testing::Test {
  protected:
    Obey() { system_.start(); }

    /* A player, once the playback thread waits: what comes before is played with what comes next. */
    support::ReceiverHandle attach_player() const {
        EXPECT_TRUE(support::thread_sleeps(system_.daemon->pid(), "play_audio"));
        return support::attach("/run/audio_play");
    }

    static bool board_says(const std::string &text) {
        return eventually([&] { return board::BoardCtl().status().find(text) != std::string::npos; });
    }

    System system_;
};

// ---- settings ----

struct Setting {
    const char *key;
    const char *value;
    const char *effect;
    const char *back;
    const char *effect_back;
};

class ObeySetting : public Obey, public testing::WithParamInterface<Setting> {};

TEST_P(ObeySetting, ReachesTheBoardAndComesBack) {
    const Setting &row = GetParam();
    ASSERT_TRUE(System::set(row.key, row.value));
    EXPECT_TRUE(board_says(row.effect)) << board::BoardCtl().status();
    ASSERT_TRUE(System::set(row.key, row.back));
    EXPECT_TRUE(board_says(row.effect_back)) << board::BoardCtl().status();
}

INSTANTIATE_TEST_SUITE_P(
    Keys, ObeySetting,
    testing::Values(
        Setting{"flip", "on", R"("flip":true)", "off", R"("flip":false)"},
        Setting{"watermark", "off", R"("overlay":false)", "on", R"("overlay":true)"},
        Setting{"wdr", "on", R"("wdr":true)", "off", R"("wdr":false)"},
        Setting{"flicker", "60", R"("flicker_hz":60)", "50", R"("flicker_hz":50)"},
        Setting{"regioncode", "IN", R"("region":1)", "US", R"("region":0)"},
        Setting{"motion_region", "30", R"("motion_sense":[30])", "60", R"("motion_sense":[60])"},
        Setting{"lsd_threshold", "70", R"("sound_threshold":70)", "50", R"("sound_threshold":50)"},
        Setting{"motion_detection_enable", "on", R"("tracking":true)", "off", R"("tracking":false)"},
        Setting{"algo_sensitivity", "lowest", R"("lowest":true)", "normal", R"("lowest":false)"},
        Setting{"power", "off", R"("streaming":false)", "on", R"("streaming":true)"},
        Setting{"bind_status", "no", R"("bound":0)", "ok", R"("bound":1)"}),
    [](const auto &row) { return std::string(row.param.key); });

TEST_F(Obey, TrackingBringsAMailboxThatStays) {
    ASSERT_TRUE(System::set("motion_detection_enable", "on"));
    ASSERT_TRUE(system_.daemon->saw("info track_switch_cb(),[motion_detection_enable=on]"));
    int id = -1;
    ASSERT_TRUE(eventually([&] { return (id = shmget(0x1122, 60, 0)) >= 0; }));
    ASSERT_TRUE(System::set("motion_detection_enable", "off"));
    EXPECT_TRUE(system_.daemon->saw("error motor_rotate_task_thread has not running"));
    EXPECT_TRUE(system_.daemon->saw("ret = -1, track_switch=0, enable or disable track switch failed!"));
    shmid_ds mailbox = {};
    ASSERT_EQ(shmctl(id, IPC_STAT, &mailbox), 0);
    EXPECT_EQ(mailbox.shm_segsz, 60U);
    EXPECT_EQ(mailbox.shm_nattch, 1U);
    EXPECT_EQ(mailbox.shm_perm.mode & 0777U, 0666U);
}

TEST_F(Obey, NightModeEndsTheWorkerAndStartsItAgain) {
    const auto worker = [&] { return support::thread_named(system_.daemon->pid(), "ankai_ircut_ctr"); };
    ASSERT_TRUE(eventually([&] { return worker() > 0; }));
    ASSERT_TRUE(System::set("night_mode", "1"));
    EXPECT_TRUE(system_.daemon->saw("info [ircut_main_pthread 258] exit succ "));
    EXPECT_TRUE(eventually([&] { return worker() == 0; }));
    ASSERT_TRUE(System::set("night_mode", "0"));
    EXPECT_TRUE(eventually([&] { return worker() > 0; }));
}

// ---- pictures and sound ----

TEST_F(Obey, ASnapshotGoesToWhoAskedAndToNobodyElse) {
    const auto asking = support::attach("/run/jpeg_snap");
    const auto other = support::attach("/run/jpeg_snap");
    ASSERT_NE(asking, nullptr);
    ASSERT_NE(other, nullptr);
    for (const auto &[request, kind] :
         {std::pair{std::string("REQ_SNAPSHOT_A"), 1U}, {"REQ_SNAPSHOT_R", 0U}}) {
        ASSERT_EQ(shbf_rcv_send(asking.get(), request.data(), static_cast<uint32_t>(request.size())), 0);
        const daemon_test::Frame reply = daemon_test::next_frame(asking);
        EXPECT_EQ(reply.info.board24, kind);
        EXPECT_EQ(reply.payload.size(), reply.info.len);
        EXPECT_TRUE(reply.payload.starts_with("\xff\xd8"));
        EXPECT_TRUE(reply.payload.ends_with("\xff\xd9"));
    }
    shbf_event_t event;
    EXPECT_EQ(shbf_rcv_next(other.get(), &event, 0), 0);
}

TEST_F(Obey, AnyMessageBringsASnapshotAndWhatTheWordBeginsWithIsKindA) {
    const auto receiver = support::attach("/run/jpeg_snap");
    for (const std::string request : {"", "R", "REQ_SNAPSHOT_", "REQ_SNAPSHOT_A", "picture, please"}) {
        ASSERT_EQ(shbf_rcv_send(receiver.get(), request.data(), static_cast<uint32_t>(request.size())), 0);
        const daemon_test::Frame reply = daemon_test::next_frame(receiver);
        EXPECT_TRUE(reply.payload.starts_with("\xff\xd8")) << request;
        EXPECT_EQ(reply.info.board24, request == "picture, please" ? 0U : 1U) << request;
    }
}

TEST_F(Obey, ARawFrameIsAWholePicture) {
    const auto receiver = support::attach("/run/video_rawstream");
    ASSERT_NE(receiver, nullptr);
    ASSERT_EQ(shbf_rcv_send(receiver.get(), "x", 1), 0);
    const daemon_test::RawFrame reply = daemon_test::next_raw_frame(receiver);
    EXPECT_EQ(reply.info.len, 368640U);
    EXPECT_EQ(reply.payload.size(), 368640U);
}

TEST_F(Obey, TheMicrophoneIsPublishedInNumberedBlocks) {
    const auto receiver = support::attach("/run/audio_in");
    ASSERT_NE(receiver, nullptr);
    uint32_t before = 0;
    for (int i = 0; i < 10; ++i) {
        const daemon_test::Block block = daemon_test::next_block(receiver);
        EXPECT_EQ(block.info.len, 1280U);
        EXPECT_EQ(block.payload.size(), 1280U);
        if (before != 0) {
            EXPECT_EQ(block.info.seq, before + 1);
        }
        before = block.info.seq;
    }
}

TEST_F(Obey, SoundSwitchesTheSpeakerAndTheCancellerOnForFiveSeconds) {
    const auto player = attach_player();
    ASSERT_NE(player, nullptr);
    const std::string sound(6400, '\x10');
    ASSERT_EQ(shbf_rcv_send(player.get(), sound.data(), static_cast<uint32_t>(sound.size())), 0);
    EXPECT_TRUE(system_.daemon->saw("info ###enable_aec###"));
    EXPECT_TRUE(board_says(R"("heard":3200)")) << board::BoardCtl().status();
    EXPECT_TRUE(system_.daemon->saw("info ###disable_aec###"));
    EXPECT_TRUE(board_says(R"("enabled":false)")) << board::BoardCtl().status();
}

TEST_F(Obey, BannedSoundIsNotPlayed) {
    const auto player = attach_player();
    ASSERT_NE(player, nullptr);
    ASSERT_EQ(shbf_rcv_send(player.get(), "SOUND_BAN", 9), 0);
    ASSERT_TRUE(system_.daemon->saw("info recv disable speaker cmd, dn_mode is 0"));
    const std::string block(1280, '\x10');
    ASSERT_EQ(shbf_rcv_send(player.get(), block.data(), static_cast<uint32_t>(block.size())), 0);
    ASSERT_TRUE(system_.daemon->saw("info ###enable_aec###"));
    ASSERT_TRUE(system_.daemon->saw("info ###disable_aec###")); // all that there was has had its turn
    EXPECT_NE(board::BoardCtl().status().find(R"("played":0,)"), std::string::npos)
        << board::BoardCtl().status();
    ASSERT_EQ(shbf_rcv_send(player.get(), "SOUND_UNBAN", 11), 0);
    ASSERT_EQ(shbf_rcv_send(player.get(), block.data(), static_cast<uint32_t>(block.size())), 0);
    EXPECT_TRUE(board_says(R"("played":640,)")) << board::BoardCtl().status();
    EXPECT_TRUE(system_.daemon->saw("info enable speaker, dn_mode is 0 "));
}

} // namespace
