// What other processes ask of the daemon while it runs, on a board that does it: settings, commands, sound,
// pictures.

#include "board/boardctl.h"
#include "libav_cmd_client.h"
#include "libboardav.h"
#include "support/system.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <sys/shm.h>
#include <unistd.h>
#include <vector>

using support::eventually;
using support::System;

namespace {

class Obey : public testing::Test {
  protected:
    Obey() { system_.start(); }

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
        Setting{"night_mode", "2", R"("night":true)", "1", R"("night":false)"},
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

// ---- commands ----

class Client {
  public:
    /* The daemon lets five wait for it at a time. */
    Client() {
        EXPECT_TRUE(eventually([this] { return (fd_ = av_cmd_connect()) >= 0; }));
    }
    ~Client() { leave(); }
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;
    void leave() {
        if (fd_ >= 0) {
            close(fd_);
        }
        fd_ = -1;
    }
    int32_t fd() const { return fd_; }
    bool send(uint32_t code, const std::vector<uint32_t> &words) const {
        return av_cmd_send(fd_, code, words.data(), static_cast<uint32_t>(words.size() * sizeof(uint32_t))) ==
               0;
    }
    /* The next acknowledgement, or one with code 0 when none comes in time. */
    av_cmd_ack_t ack() const {
        av_cmd_ack_t ack{};
        if (av_cmd_read_ack(fd_, &ack, 20000) != 1) {
            ack.code = 0;
        }
        return ack;
    }

  private:
    int32_t fd_ = -1;
};

struct Command {
    uint32_t code;
    std::vector<uint32_t> payload;
    uint32_t data_bytes;
};

TEST_F(Obey, EveryCommandThatIsAcknowledgedIsSoWithItsCodePlusOneAndNoOtherIs) {
    const Command acknowledged[] = {{0x1001, {0x05050505}, 0},
                                    {0x1005, {}, 0},
                                    {0x1007, {}, 0},
                                    {0x1009, {}, 0},
                                    {0x100b, {}, 0},
                                    {0x100d, {}, 0},
                                    {0x100f, {}, 0},
                                    {0x1011, {}, 0},
                                    {0x1013, {}, 0},
                                    {0x1016, {}, 4},
                                    {0x1018, {1}, 0},
                                    {0x101a, {}, ISP_EV_BYTES},
                                    {0x101e, {}, ISP_WB_BYTES},
                                    {0x1020, {1, 2048, 1024, 1024, 0, 0, 0, 0}, 0},
                                    {0x1025, {1, 200000, 0, 30, 10, 40, 0, 0}, 0},
                                    {0x1027, {1}, 0},
                                    {0x1029, {}, 0},
                                    {0x102b, {10, 10, 50, 50}, 0},
                                    {0x102d, {}, 0}};
    const Client client;
    ASSERT_GE(client.fd(), 0);
    const Command *next = std::begin(acknowledged);
    for (uint32_t code = 0x1001; code <= 0x1037; ++code) {
        if (next == std::end(acknowledged) || next->code != code) {
            // Nothing comes of these: the next acknowledgement is that of a later command.
            ASSERT_TRUE(client.send(code, {50}));
            continue;
        }
        ASSERT_TRUE(client.send(code, next->payload));
        const av_cmd_ack_t ack = client.ack();
        EXPECT_EQ(ack.code, code + 1) << std::hex << code;
        EXPECT_EQ(ack.result, 0) << std::hex << code;
        EXPECT_EQ(ack.length, next->data_bytes) << std::hex << code;
        ++next;
    }
    for (const uint32_t code : {0U, 0x1000U, 0x2000U}) {
        ASSERT_TRUE(client.send(code, {}));
    }
    ASSERT_TRUE(client.send(0x1029, {}));
    EXPECT_EQ(client.ack().code, 0x102aU);
    EXPECT_TRUE(board_says(R"("last_board_param":8192)")) << board::BoardCtl().status();
}

TEST_F(Obey, ABitrateOutOfRangeIsRefusedAndLogged) {
    const Client client;
    ASSERT_TRUE(client.send(0x1025, {0, 8000001, 0, 30, 10, 40, 0, 0}));
    const av_cmd_ack_t ack = client.ack();
    EXPECT_EQ(ack.code, 0x1026U);
    EXPECT_EQ(ack.result, -1);
    EXPECT_TRUE(system_.daemon->saw("error control_enc_bitrate(),{0, 0, 30,8000001,10,40}"));
}

TEST_F(Obey, TheEleventhClientWaitsUntilOneLeaves) {
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < 11; ++i) {
        clients.push_back(std::make_unique<Client>());
        ASSERT_GE(clients.back()->fd(), 0);
    }
    EXPECT_TRUE(system_.daemon->saw("error too many ipc client to track 10."));
    ASSERT_TRUE(clients.back()->send(0x1029, {}));
    clients.front()->leave();
    EXPECT_EQ(clients.back()->ack().code, 0x102aU);
}

// ---- pictures and sound ----

std::string next_frame(const support::ReceiverHandle &receiver) {
    shbf_event_t event;
    std::string bytes;
    if (shbf_rcv_next(receiver.get(), &event, 20000) == 1 && event.kind == SHBF_EVENT_FRAME) {
        bytes.assign(static_cast<const char *>(event.frame.data), event.frame.size);
        shbf_rcv_release(receiver.get(), &event.frame);
    }
    return bytes;
}

template <typename Header>
Header header_of(const std::string &frame) {
    Header header{};
    EXPECT_GE(frame.size(), sizeof header);
    std::memcpy(&header, frame.data(), std::min(frame.size(), sizeof header));
    return header;
}

TEST_F(Obey, ASnapshotGoesToWhoAskedAndToNobodyElse) {
    const auto asking = support::attach("/run/jpeg_snap");
    const auto other = support::attach("/run/jpeg_snap");
    ASSERT_NE(asking, nullptr);
    for (const auto &[request, kind] :
         {std::pair{std::string("REQ_SNAPSHOT_A"), 1U}, {"REQ_SNAPSHOT_R", 0U}}) {
        ASSERT_EQ(shbf_rcv_send(asking.get(), request.data(), static_cast<uint32_t>(request.size())), 0);
        const std::string reply = next_frame(asking);
        const auto header = header_of<VideoFrameInfo>(reply);
        EXPECT_EQ(header.board24, kind);
        ASSERT_EQ(reply.size(), sizeof header + header.len);
        EXPECT_EQ(reply.substr(sizeof header, 2), "\xff\xd8");
        EXPECT_EQ(reply.substr(reply.size() - 2), "\xff\xd9");
    }
    shbf_event_t event;
    EXPECT_EQ(shbf_rcv_next(other.get(), &event, 0), 0);
}

TEST_F(Obey, ARawFrameIsAWholePicture) {
    const auto receiver = support::attach("/run/video_rawstream");
    ASSERT_EQ(shbf_rcv_send(receiver.get(), "x", 1), 0);
    const std::string reply = next_frame(receiver);
    EXPECT_EQ(header_of<RawFrameInfo>(reply).len, 368640U);
    EXPECT_EQ(reply.size(), 64U + 368640U);
}

TEST_F(Obey, TheMicrophoneIsPublishedInNumberedBlocks) {
    const auto receiver = support::attach("/run/audio_in");
    uint32_t before = 0;
    for (int i = 0; i < 10; ++i) {
        const std::string block = next_frame(receiver);
        const auto header = header_of<AudioFrameInfo>(block);
        EXPECT_EQ(header.len, 1280U);
        EXPECT_EQ(block.size(), sizeof header + header.len);
        if (before != 0) {
            EXPECT_EQ(header.seq, before + 1);
        }
        before = header.seq;
    }
}

TEST_F(Obey, SoundSwitchesTheSpeakerAndTheCancellerOnForFiveSeconds) {
    const auto player = support::attach("/run/audio_play");
    const std::string block(1280, '\x10');
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(shbf_rcv_send(player.get(), block.data(), static_cast<uint32_t>(block.size())), 0);
    }
    EXPECT_TRUE(system_.daemon->saw("info ###enable_aec###"));
    EXPECT_TRUE(board_says(R"("heard":3200)")) << board::BoardCtl().status();
    EXPECT_TRUE(system_.daemon->saw("info ###disable_aec###"));
    EXPECT_TRUE(board_says(R"("enabled":false)")) << board::BoardCtl().status();
}

TEST_F(Obey, BannedSoundIsNotPlayed) {
    const auto player = support::attach("/run/audio_play");
    ASSERT_EQ(shbf_rcv_send(player.get(), "SOUND_BAN", 9), 0);
    ASSERT_TRUE(system_.daemon->saw("info recv disable speaker cmd, dn_mode is 0"));
    const std::string block(1280, '\x10');
    ASSERT_EQ(shbf_rcv_send(player.get(), block.data(), static_cast<uint32_t>(block.size())), 0);
    ASSERT_TRUE(system_.daemon->saw("info ###enable_aec###"));
    ASSERT_EQ(shbf_rcv_send(player.get(), "SOUND_UNBAN", 11), 0);
    ASSERT_TRUE(system_.daemon->saw("info enable speaker, dn_mode is 0 "));
    EXPECT_TRUE(board_says(R"("played":0,)")) << board::BoardCtl().status();
}

} // namespace
