// AV commands: what each does to the board, and how it is acknowledged.

#include "control/av_dispatch.h"

#include "image/isp_dnmode.h"
#include "script/daemon_test.h"
#include "settings/device_status.h"

#include <algorithm>
#include <cstring>
#include <set>

namespace {

using Entries = std::vector<std::string>;

constexpr int32_t client = 9;

class AvDispatch : public DaemonTest {
  protected:
    AvDispatch() {
        for (size_t i = 0; i < sizeof payload_; ++i) {
            payload_[i] = static_cast<uint8_t>(0xf0 + i); // not the same in any two bytes
        }
    }

    void set_words(std::initializer_list<uint32_t> words) {
        std::memcpy(payload_, words.begin(), words.size() * sizeof(uint32_t));
    }

    int32_t dispatch(uint32_t code) { return av_cmd_dispatch(client, payload_, code); }

    alignas(4) uint8_t payload_[AV_CMD_PAYLOAD_READABLE];
};

// ---- commands that make one call and are acknowledged with its result ----

struct Plain {
    uint32_t code;
    const char *board_call;
    const char *line; // null: none
};

constexpr Plain plain_commands[] = {
    {0x1005, "start_md", nullptr},
    {0x1007, "stop_md", nullptr},
    {0x1009, "enable_osd", "debug: enable osd\n"},
    {0x100b, "disable_osd", "debug: disable osd\n"},
    {0x100d, "enable_wdr", "info: enable wdr\n"},
    {0x100f, "disable_wdr", "info: disable_wdr\n"},
    {0x1011, "set_video_Vflip", "debug: enable Vfilp\n"},
    {0x1013, "set_video_normal", "debug: disable Vfilp\n"},
};

class PlainCommand : public AvDispatch, public testing::WithParamInterface<Plain> {};

TEST_P(PlainCommand, CallsTheBoardAndAcknowledgesWithItsResult) {
    const Plain row = GetParam();
    for (const int32_t result : {0, -1, 7}) {
        script.journal.clear();
        script.results[row.board_call] = result;
        dispatch(row.code);
        Entries expected;
        if (row.line != nullptr) {
            expected.emplace_back(row.line);
        }
        expected.push_back(std::string(row.board_call) + "()");
        expected.push_back(script::format("send_av_cmd_ack(9, 0x%x, %d, null, 0)", row.code + 1, result));
        EXPECT_EQ(script.journal, expected);
    }
}

TEST_P(PlainCommand, GivesTheResultOfTheAcknowledgement) {
    script.results["send_av_cmd_ack"] = -32;
    EXPECT_EQ(dispatch(GetParam().code), -32);
}

INSTANTIATE_TEST_SUITE_P(Codes, PlainCommand, testing::ValuesIn(plain_commands),
                         [](const auto &row) { return std::string(row.param.board_call); });

class EveryCommand : public AvDispatch {
  protected:
    EveryCommand() {
        set_words({1, 500000, 77, 50, 20, 40, 1}); // a good bit rate, too
        script.results["send_av_cmd_ack"] = -32;
    }
};

TEST_F(EveryCommand, ThatTheDispatcherAcknowledgesGivesTheResultOfThat) {
    for (const uint32_t code : {0x1018U, 0x1020U, 0x1025U, 0x1027U, 0x1029U, 0x102bU, 0x102dU}) {
        EXPECT_EQ(dispatch(code), -32) << std::hex << code;
    }
}

TEST_F(EveryCommand, ThatAcknowledgesItselfGivesSuccess) {
    for (const uint32_t code : {0x1001U, 0x1016U, 0x101aU, 0x101eU}) {
        EXPECT_EQ(dispatch(code), 0) << std::hex << code;
    }
}

TEST_F(AvDispatch, OverlayCommandsChangeTheRecordAfterTheBoardWasTold) {
    int at_call = -1;
    script.when("disable_osd", [&] { at_call = device_status.watermark; });
    script.results = {{"disable_osd", -1}, {"enable_osd", -1}}; // not looked at
    dispatch(0x100b);
    EXPECT_EQ(at_call, 1);
    EXPECT_EQ(device_status.watermark, 0);
    script.when("enable_osd", [&] { at_call = device_status.watermark; });
    dispatch(0x1009);
    EXPECT_EQ(at_call, 0);
    EXPECT_EQ(device_status.watermark, 1);
}

TEST_F(AvDispatch, PictureCommandsLeaveTheRecordAlone) {
    dispatch(0x100d);
    dispatch(0x1011);
    EXPECT_EQ(device_status.wdr, 0);
    EXPECT_EQ(device_status.flip, 0);
    device_status.wdr = 1;
    device_status.flip = 1;
    dispatch(0x100f);
    dispatch(0x1013);
    EXPECT_EQ(device_status.wdr, 1);
    EXPECT_EQ(device_status.flip, 1);
}

// ---- commands that take or bring data ----

TEST_F(AvDispatch, MotionSensitivityTakesThirtyTwoUnsignedBytes) {
    std::string numbers;
    for (int i = 0; i < 32; ++i) {
        numbers += std::to_string((0xf0 + i) & 0xff) + " ";
    }
    script.results["set_md_sense"] = -4;
    EXPECT_EQ(dispatch(0x1001), 0);
    EXPECT_EQ(script.journal,
              (Entries{"set_md_sense(" + numbers + "32)", "send_av_cmd_ack(9, 0x1002, -4, null, 0)"}));
}

TEST_F(AvDispatch, DayNightModeIsAnsweredWithTheBoards) {
    script.results = {{"get_isp_dnmode", 3}, {"mode", 1}};
    EXPECT_EQ(dispatch(0x1016), 0);
    EXPECT_EQ(script.journal, (Entries{"get_isp_dnmode()", "send_av_cmd_ack(9, 0x1017, 3, 01000000)"}));
}

TEST_F(AvDispatch, DayNightModeIsSetOnAThreadOfItsOwn) {
    set_words({5});
    script.results["set_isp_dnmode"] = -1;
    dispatch(0x1018);
    EXPECT_EQ(script.journal, (Entries{"pthread_create(1, default)", "pthread_detach(1)",
                                       "send_av_cmd_ack(9, 0x1019, 0, null, 0)"}));
    EXPECT_EQ(dn_mode, 5);
}

TEST_F(AvDispatch, DayNightModeIsAcknowledgedWithSuccessEvenWithoutAThread) {
    script.pthread_create_results = {{1, -1}};
    set_words({5});
    dispatch(0x1018);
    EXPECT_EQ(journal(), (Entries{"pthread_create(1, default)", "log: Create set_isp_dnmode_thread error\n",
                                  "send_av_cmd_ack(9, 0x1019, 0, null, 0)"}));
    EXPECT_EQ(dn_mode, 5);
}

TEST_F(AvDispatch, ExposureIsAnsweredWithTwentyEightBytesWhateverTheResult) {
    for (const int32_t result : {0, -1}) {
        script.journal.clear();
        script.results["get_isp_ev"] = result;
        EXPECT_EQ(dispatch(0x101a), 0);
        EXPECT_EQ(script.journal,
                  (Entries{"get_isp_ev()", script::format("send_av_cmd_ack(9, 0x101b, %d, ", result) +
                                               "0102030405060708090a0b0c0d0e0f10"
                                               "1112131415161718191a1b1c)"}));
    }
}

TEST_F(AvDispatch, WhiteBalanceIsAnsweredWithThirtyTwoBytesWhateverTheResult) {
    for (const int32_t result : {0, -1}) {
        script.journal.clear();
        script.results["get_isp_wb"] = result;
        EXPECT_EQ(dispatch(0x101e), 0);
        EXPECT_EQ(script.journal,
                  (Entries{"get_isp_wb()", script::format("send_av_cmd_ack(9, 0x101f, %d, ", result) +
                                               "0102030405060708090a0b0c0d0e0f10"
                                               "1112131415161718191a1b1c1d1e1f20)"}));
    }
}

TEST_F(AvDispatch, WhiteBalanceIsSetFromThePayload) {
    script.results["set_isp_wb"] = -6;
    dispatch(0x1020);
    EXPECT_EQ(script.journal,
              (Entries{"set_isp_wb(f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff000102030405060708090a0b0c0d0e0f)",
                       "send_av_cmd_ack(9, 0x1021, -6, null, 0)"}));
}

TEST_F(AvDispatch, TheLampTakesTheFirstWord) {
    set_words({1});
    script.results["control_ir_lamp"] = -2;
    dispatch(0x1027);
    EXPECT_EQ(script.journal, (Entries{"debug: control ircut\n", "control_ir_lamp(1)",
                                       "send_av_cmd_ack(9, 0x1028, -2, null, 0)"}));
}

TEST_F(AvDispatch, TheTrackTakesFourWordsAndIsAcknowledgedWithSuccess) {
    set_words({1, 0xffffffff, 3, 4});
    script.results["osd_display_track"] = -1;
    dispatch(0x102b);
    EXPECT_EQ(script.journal,
              (Entries{"osd_display_track(1, -1, 3, 4)", "send_av_cmd_ack(9, 0x102c, 0, null, 0)"}));
}

TEST_F(AvDispatch, TheEndOfTheTrackIsAcknowledgedWithSuccess) {
    script.results["osd_destory_track"] = -1;
    dispatch(0x102d);
    EXPECT_EQ(script.journal, (Entries{"debug: track stop\n", "osd_destory_track()",
                                       "send_av_cmd_ack(9, 0x102e, 0, null, 0)"}));
}

TEST_F(AvDispatch, MovingTheMotorMovesNothing) {
    dispatch(0x1029);
    EXPECT_EQ(script.journal, (Entries{"debug: motor move\n", "send_av_cmd_ack(9, 0x102a, 0, null, 0)"}));
}

// ---- commands that are not acknowledged ----

struct Silent {
    uint32_t code;
    const char *name;
    const char *entry;
};

class SpeakerCommand : public AvDispatch, public testing::WithParamInterface<Silent> {};

TEST_P(SpeakerCommand, GivesTheBoardsResultAndSendsNothing) {
    set_words({42});
    script.results[GetParam().name] = -8;
    EXPECT_EQ(dispatch(GetParam().code), -8);
    EXPECT_EQ(script.journal, (Entries{GetParam().entry}));
}

INSTANTIATE_TEST_SUITE_P(
    Codes, SpeakerCommand,
    testing::Values(Silent{0x1022, "set_speaker_vol", "set_speaker_vol(42)"},
                    Silent{0x1023, "set_speaker_talking_vol", "set_speaker_talking_vol()"},
                    Silent{0x1024, "set_speaker_vol_default", "set_speaker_vol_default()"}),
    [](const auto &row) { return std::string(row.param.name); });

TEST_F(AvDispatch, FourCodesDoNothingAtAll) {
    for (const uint32_t code : {0x1003U, 0x1031U, 0x1033U, 0x1035U}) {
        EXPECT_EQ(dispatch(code), 0) << code;
    }
    EXPECT_EQ(script.journal, Entries{});
}

TEST_F(AvDispatch, TheLastCodeOfTheBlockIsRefusedSilently) {
    EXPECT_EQ(dispatch(0x1037), -1);
    EXPECT_EQ(script.journal, Entries{});
}

TEST_F(AvDispatch, EveryOtherCodeGoesToTheBoardAsItIs) {
    const std::set<uint32_t> others_inside = {0x1002, 0x1004, 0x1006, 0x1008, 0x100a, 0x100c, 0x100e,
                                              0x1010, 0x1012, 0x1014, 0x1015, 0x1017, 0x1019, 0x101b,
                                              0x101c, 0x101d, 0x101f, 0x1021, 0x1026, 0x1028, 0x102a,
                                              0x102c, 0x102e, 0x102f, 0x1030, 0x1032, 0x1034, 0x1036};
    script.results["set_board_param"] = -1; // not looked at
    std::set<uint32_t> codes = {0, 1, 0x1000, 0x1038, 0x2000, 0x11001, 0xffffffff};
    codes.insert(others_inside.begin(), others_inside.end());
    for (const uint32_t code : codes) {
        script.journal.clear();
        EXPECT_EQ(dispatch(code), 0) << code;
        EXPECT_EQ(script.journal, (Entries{script::format("set_board_param(0x%x, f0f1f2f3)", code)}));
    }
}

TEST_F(AvDispatch, NoCommandGoesToTheBoardAsItIs) {
    size_t passed_on = 0;
    for (uint32_t code = 0x1001; code <= 0x1037; ++code) {
        script.journal.clear();
        dispatch(code);
        passed_on += script.count("set_board_param");
    }
    EXPECT_EQ(passed_on, 28U);
}

// ---- bit rates ----

constexpr uint32_t good_record[] = {1, 500000, 77, 50, 20, 40, 1, 0xdeadbeef};

class Bitrate : public AvDispatch {
  protected:
    void send(size_t index, uint32_t value) {
        uint32_t words[8];
        std::copy(std::begin(good_record), std::end(good_record), words);
        words[index] = value;
        std::memcpy(payload_, words, sizeof words);
        script.journal.clear();
        dispatch(0x1025);
    }
    bool passed() const { return script.has("control_bitrate("); }
};

TEST_F(Bitrate, InRangeGoesToTheBoardUnchanged) {
    script.results["control_bitrate"] = -9;
    send(0, good_record[0]);
    EXPECT_EQ(script.journal, (Entries{"debug: set bitrate\n",
                                       "control_bitrate(0100000020a107004d0000003200000014000000280000000"
                                       "1000000efbeadde)",
                                       "send_av_cmd_ack(9, 0x1026, -9, null, 0)"}));
}

TEST_F(Bitrate, OutOfRangeIsLoggedInTheOrderOfTheChecksAndRefused) {
    send(4, 0);
    EXPECT_EQ(script.journal,
              (Entries{"debug: set bitrate\n", "err: control_enc_bitrate(),{1, 1, 50,500000,0,40}\n",
                       "send_av_cmd_ack(9, 0x1026, -1, null, 0)"}));
    send(1, 8000001);
    EXPECT_EQ(script.journal,
              (Entries{"debug: set bitrate\n", "err: control_enc_bitrate(),{1, 1, 50,8000001,20,40}\n",
                       "send_av_cmd_ack(9, 0x1026, -1, null, 0)"}));
}

TEST_F(Bitrate, IsComparedWithoutASign) {
    send(0, 0xffffffff);
    EXPECT_TRUE(script.has("err: control_enc_bitrate(),{1, -1, 50,500000,20,40}\n"));
    EXPECT_FALSE(passed());
}

struct Bounds {
    const char *name;
    size_t word;
    uint32_t min;
    uint32_t max;
};

class BitrateBounds : public Bitrate, public testing::WithParamInterface<Bounds> {};

TEST_P(BitrateBounds, AreInclusive) {
    const Bounds row = GetParam();
    for (const uint32_t value : {row.min, row.max}) {
        send(row.word, value);
        EXPECT_TRUE(passed()) << value;
    }
    for (const uint32_t value : {row.min - 1, row.max + 1, 0x80000000U, 0xffffffffU}) {
        send(row.word, value);
        EXPECT_FALSE(passed()) << value;
        EXPECT_EQ(script.count("err: control_enc_bitrate()"), 1U) << value;
        EXPECT_TRUE(script.has("send_av_cmd_ack(9, 0x1026, -1, null, 0)"));
    }
}

INSTANTIATE_TEST_SUITE_P(Words, BitrateBounds,
                         testing::Values(Bounds{"mode", 6, 0, 1}, Bounds{"channel", 0, 0, 3},
                                         Bounds{"board3", 3, 10, 100}, Bounds{"bitrate", 1, 10, 8000000},
                                         Bounds{"quantiser_a", 4, 1, 51}, Bounds{"quantiser_b", 5, 1, 51}),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(Bitrate, LeavesTwoWordsUnchecked) {
    for (const size_t index : {size_t{2}, size_t{7}}) {
        for (const uint32_t value : {0U, 0x80000000U, 0xffffffffU}) {
            send(index, value);
            EXPECT_TRUE(passed()) << index;
        }
    }
}

} // namespace
