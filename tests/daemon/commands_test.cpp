// Every AV command over the real socket: what is acknowledged, with which result and data, and what the board
// has been told.

#include "board/boardctl.h"
#include "daemon/av_client.h"
#include "support/system.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

using daemon_test::AvClient;
using support::eventually;
using support::System;

namespace {

using Words = std::vector<uint32_t>;

constexpr uint32_t first_code = 0x1001;
constexpr uint32_t last_code = 0x1037;

/* Is acknowledged always with 0 and does nothing, so it tells when all before it are done. */
constexpr uint32_t fence = 0x1029;

std::string board_status() {
    return board::BoardCtl().status();
}

Words words_of(const av_cmd_ack_t &ack) {
    Words words(ack.length / sizeof(uint32_t));
    std::memcpy(words.data(), ack.data, words.size() * sizeof(uint32_t));
    return words;
}

class Commands : public testing::Test {
  protected:
    Commands() { system_.start(); }
    System system_;
};

// ---- those that are acknowledged ----

struct Acknowledged {
    uint32_t code;
    Words payload;
    std::string effect; // what the board's status says afterwards
    bool own_result;    // the board's; else always 0
    uint32_t data_bytes;
};

/* In an order in which each effect is new. */
std::vector<Acknowledged> acknowledged() {
    const bool board = true;
    const bool always_0 = false;
    return {
        {0x1001,
         {0x04030201, 0xff807f05},
         R"("motion_sense":[1,2,3,4,5,127,128,255,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0])",
         board,
         0},
        {0x1005, {}, R"("motion":true)", board, 0},
        {0x1007, {}, R"("motion":false)", board, 0},
        {0x100b, {}, R"("overlay":false)", board, 0},
        {0x1009, {}, R"("overlay":true)", board, 0},
        {0x100d, {}, R"("wdr":true)", board, 0},
        {0x100f, {}, R"("wdr":false)", board, 0},
        {0x1011, {}, R"("flip":true)", board, 0},
        {0x1013, {}, R"("flip":false)", board, 0},
        {0x1016, {}, R"("night":false)", board, 4},
        {0x1018, {1}, R"("night":true)", always_0, 0},
        {0x101a, {}, R"("night":true)", board, 28},
        {0x101e, {}, R"("white":{"mode":"auto","red":1024,)", board, 32},
        {0x1020,
         {1, 2048, 1024, 512, 0, 0, 0, 0},
         R"("white":{"mode":"fixed","red":2048,"green":1024,"blue":512})",
         board,
         0},
        {0x1025,
         {1, 200000, 7, 30, 10, 40, 1, 8},
         R"("bitrate_control":[1,200000,7,30,10,40,1,8])",
         board,
         0},
        {0x1027, {1}, R"("lamp":true)", board, 0},
        {0x1029, {}, "", always_0, 0},
        {0x102b, {0xfffffffb, 10, 50, 60}, R"("track":[-5,10,50,60])", always_0, 0},
        {0x102d, {}, R"("track":null)", always_0, 0},
    };
}

TEST_F(Commands, AcknowledgeWithCodeResultAndDataWhatTheBoardHasDone) {
    ASSERT_TRUE(system_.hold_day()) << system_.daemon->output();
    const AvClient client;
    for (const Acknowledged &row : acknowledged()) {
        const av_cmd_ack_t ack = client.call(row.code, row.payload);
        EXPECT_EQ(ack.code, row.code + 1) << std::hex << row.code;
        EXPECT_EQ(ack.result, 0) << std::hex << row.code;
        EXPECT_EQ(ack.length, row.data_bytes) << std::hex << row.code;
        // Of the mode alone the acknowledgement comes first.
        EXPECT_TRUE(eventually([&] { return board_status().find(row.effect) != std::string::npos; },
                               row.code == 0x1018 ? support::patience : std::chrono::seconds(0)))
            << std::hex << row.code << " " << board_status();
    }
}

TEST_F(Commands, TakeAPayloadThatIsTooShortAsFilledUpWithZeros) {
    const AvClient client;
    EXPECT_EQ(client.call(0x1020, {1, 300, 400, 500}).result, 0);
    EXPECT_EQ(words_of(client.call(0x101e)), (Words{1, 300, 400, 500, 0, 0, 0, 0}));
    EXPECT_EQ(client.call(0x1001, {}).result, 0);
    EXPECT_NE(board_status().find(R"("motion_sense":[0,0,)"), std::string::npos);
}

TEST_F(Commands, GetWhatTheBoardReports) {
    ASSERT_TRUE(system_.hold_day()) << system_.daemon->output();
    const AvClient client;
    EXPECT_EQ(words_of(client.call(0x1016)), (Words{0}));
    ASSERT_EQ(client.call(0x1018, {1}).result, 0);
    EXPECT_TRUE(eventually([&] { return words_of(client.call(0x1016)) == Words{1}; })) << "night";

    EXPECT_EQ(words_of(client.call(0x101e)), (Words{0, 1024, 1024, 1024, 0, 0, 0, 0}));
    const Words white = {1, 4096, 256, 777, 0, 0, 0, 0};
    ASSERT_EQ(client.call(0x1020, white).result, 0);
    EXPECT_EQ(words_of(client.call(0x101e)), white);

    // The board's exposure record ends with flicker frequency, day or night, and flags: 1 wdr, 2 lamp.
    const auto last_words = [&] {
        const Words words = words_of(client.call(0x101a));
        return words.size() == 7 ? Words(words.begin() + 4, words.end()) : Words();
    };
    EXPECT_EQ(last_words(), (Words{50, 1, 0}));
    ASSERT_EQ(client.call(0x100d).result, 0);
    ASSERT_EQ(client.call(0x1027, {1}).result, 0);
    EXPECT_EQ(last_words(), (Words{50, 1, 3}));
    ASSERT_TRUE(System::set("flicker", "60"));
    EXPECT_TRUE(eventually([&] { return last_words() == Words{60, 1, 3}; }));
}

TEST_F(Commands, PassOnWhatTheBoardRefuses) {
    const AvClient client;
    // A gain of 1, a lamp that is neither off nor on, an encoder channel that this board does not have.
    for (const auto &[code, payload] : {std::pair<uint32_t, Words>{0x1020, {1, 1, 1024, 1024}},
                                        {0x1027, {2}},
                                        {0x1025, {3, 200000, 0, 30, 10, 40, 0, 0}}}) {
        const av_cmd_ack_t ack = client.call(code, payload);
        EXPECT_EQ(ack.code, code + 1);
        EXPECT_EQ(ack.result, -EINVAL) << std::hex << code;
    }
    EXPECT_EQ(system_.daemon->count("control_enc_bitrate(),"), 0U) << "the daemon takes channels 0 to 3";
    // A rectangle without size, and a mode that there is not: nobody waits for what the board says.
    EXPECT_EQ(client.call(0x102b, {1, 2, 0, 0}).result, 0);
    EXPECT_NE(board_status().find(R"("track":null)"), std::string::npos);
    EXPECT_EQ(client.call(0x1018, {7}).result, 0);
    EXPECT_TRUE(system_.daemon->saw("strell_v2 set_isp_dnmode mode = 7 fail,try again after 10s "));
}

TEST_F(Commands, AcknowledgeTheBoardsFailureWhereTheyGoByItAndNowhereElse) {
    ASSERT_TRUE(System::set("bind_status", "no")); // so that the video threads do not give up on the board
    ASSERT_TRUE(eventually([] { return board_status().find(R"("bound":0)") != std::string::npos; }));
    system_.board->signal(SIGKILL);
    system_.board->wait();
    const AvClient client;
    for (const Acknowledged &row : acknowledged()) {
        const av_cmd_ack_t ack = client.call(row.code, row.payload);
        EXPECT_EQ(ack.code, row.code + 1) << std::hex << row.code;
        EXPECT_EQ(ack.result < 0, row.own_result) << std::hex << row.code << " " << ack.result;
        EXPECT_EQ(ack.length, row.data_bytes) << std::hex << row.code;
    }
}

TEST_F(Commands, RefuseABitrateThatIsOutOfRangeAndLogIt) {
    const AvClient client;
    struct Row {
        Words payload;
        const char *logged;
    };
    for (const auto &[payload, logged] : {Row{{0, 8000001, 0, 30, 10, 40, 0, 0}, "{0, 0, 30,8000001,10,40}"},
                                          Row{{0, 9, 0, 30, 10, 40, 0, 0}, "{0, 0, 30,9,10,40}"},
                                          Row{{4, 200000, 0, 30, 10, 40, 0, 0}, "{0, 4, 30,200000,10,40}"},
                                          Row{{0, 200000, 0, 9, 10, 40, 0, 0}, "{0, 0, 9,200000,10,40}"},
                                          Row{{0, 200000, 0, 101, 10, 40, 0, 0}, "{0, 0, 101,200000,10,40}"},
                                          Row{{0, 200000, 0, 30, 0, 40, 0, 0}, "{0, 0, 30,200000,0,40}"},
                                          Row{{0, 200000, 0, 30, 10, 52, 0, 0}, "{0, 0, 30,200000,10,52}"},
                                          Row{{0, 200000, 0, 30, 10, 40, 2, 0}, "{2, 0, 30,200000,10,40}"}}) {
        const av_cmd_ack_t ack = client.call(0x1025, payload);
        EXPECT_EQ(ack.code, 0x1026U);
        EXPECT_EQ(ack.result, -1) << logged;
        EXPECT_TRUE(system_.daemon->saw(std::string("error control_enc_bitrate(),") + logged)) << logged;
    }
    EXPECT_NE(board_status().find(R"("bitrate_control":null)"), std::string::npos)
        << "the board is not asked";
}

// ---- those that are not ----

TEST_F(Commands, ForTheSpeakerAreDoneAndNotAcknowledged) {
    const AvClient client;
    struct Row {
        uint32_t code;
        Words payload;
        const char *effect;
    };
    for (const auto &[code, payload, effect] :
         {Row{0x1022, {37}, R"("volume":37)"}, Row{0x1022, {101}, R"("volume":37)"},
          Row{0x1023, {}, R"("volume":90)"}, Row{0x1024, {}, R"("volume":100)"}}) {
        ASSERT_TRUE(client.send(code, payload));
        EXPECT_EQ(client.call(fence).code, fence + 1) << "the first that is acknowledged is the next command";
        EXPECT_NE(board_status().find(effect), std::string::npos) << effect << " " << board_status();
    }
}

TEST_F(Commands, OfAllOtherCodesReachTheBoardOrNobody) {
    const std::set<uint32_t> nothing = {0x1003, 0x1031, 0x1033, 0x1035, 0x1037};
    std::set<uint32_t> known = {0x1022, 0x1023, 0x1024};
    for (const Acknowledged &row : acknowledged()) {
        known.insert(row.code);
    }
    std::vector<uint32_t> codes = {0, 0x1000, 0x1038, 0x2000, 0xffffffff};
    for (uint32_t code = first_code; code <= last_code; ++code) {
        if (!known.contains(code)) {
            codes.push_back(code);
        }
    }
    ASSERT_EQ(codes.size(), 5 + 55 - 19 - 3U);
    const AvClient client;
    uint32_t params = 0;
    uint32_t last_param = 0;
    for (const uint32_t code : codes) {
        ASSERT_TRUE(client.send(code, {1, 2, 3}));
        EXPECT_EQ(client.call(fence).code, fence + 1) << std::hex << code << " is acknowledged";
        if (!nothing.contains(code)) {
            ++params;
            last_param = code;
        }
        const std::string expected = R"("board_params":)" + std::to_string(params) +
                                     R"(,"last_board_param":)" + std::to_string(last_param);
        EXPECT_NE(board_status().find(expected), std::string::npos)
            << std::hex << code << " " << board_status();
    }
    EXPECT_EQ(params, 28 + 5U);
}

} // namespace
