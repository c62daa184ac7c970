// liboru_util.h: A-law against the table of the standard; filter, lamp and day/night on a real board.

#include "liboru_util.h"

#include "board/boardctl.h"
#include "support/board_process.h"
#include "support/eventually.h"
#include "support/scratch.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstring>
#include <gtest/gtest.h>
#include <json-c/json.h>
#include <json-c/json_pointer.h>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

/* ---- A-law ---- */

uint8_t encoded(int16_t sample) {
    const auto word = static_cast<uint16_t>(sample);
    const std::array<uint8_t, 2> pcm = {static_cast<uint8_t>(word & 0xff), static_cast<uint8_t>(word >> 8)};
    uint8_t code = 0;
    EXPECT_EQ(oru_g711a_encode(pcm.data(), 0, 2, &code), 1);
    return code;
}

/*
 * The decision values x1 to x129 of table 1a of the standard, in units of which the virtual decision value
 * 4096 ends the last interval: seven segments; the first has 32 intervals of 2, each following one 16
 * intervals twice as wide.
 */
std::vector<int> decision_values() {
    std::vector<int> values = {0};
    for (int segment = 1; segment <= 7; ++segment) {
        const int width = 1 << segment;
        const int intervals = segment == 1 ? 32 : 16;
        for (int i = 0; i < intervals; ++i) {
            values.push_back(values.back() + width);
        }
    }
    return values;
}

/* The character signal for a sample by the standard: 128 intervals for each sign, numbered from the middle,
 * the sign bit 1 for positive values, the even bits inverted. A 16-bit sample has 8 steps in a unit of the
 * table; the samples -1, -2, ... are the mirror image of 0, 1, ... */
uint8_t by_the_standard(int sample, const std::vector<int> &decisions) {
    const int magnitude = sample >= 0 ? sample : -1 - sample;
    const auto above = std::upper_bound(decisions.begin(), decisions.end(), magnitude / 8);
    const auto number = static_cast<int>(above - decisions.begin()) - 1;
    return static_cast<uint8_t>((number | (sample >= 0 ? 0x80 : 0)) ^ 0x55);
}

TEST(ALaw, TheTableOfTheStandardEndsAt4096) {
    const std::vector<int> decisions = decision_values();
    EXPECT_EQ(decisions.size(), 129U);
    EXPECT_EQ(decisions.back(), 4096);
}

TEST(ALaw, EncodesEverySampleAsTheStandardDoes) {
    const std::vector<int> decisions = decision_values();
    std::vector<uint8_t> pcm;
    for (int sample = INT16_MIN; sample <= INT16_MAX; ++sample) {
        pcm.push_back(static_cast<uint8_t>(sample & 0xff));
        pcm.push_back(static_cast<uint8_t>(static_cast<uint16_t>(sample) >> 8));
    }
    std::vector<uint8_t> codes(65536);
    ASSERT_EQ(oru_g711a_encode(pcm.data(), 0, static_cast<int32_t>(pcm.size()), codes.data()), 65536);
    for (int sample = INT16_MIN; sample <= INT16_MAX; ++sample) {
        ASSERT_EQ(codes[static_cast<size_t>(sample - INT16_MIN)], by_the_standard(sample, decisions))
            << sample;
    }
}

TEST(ALaw, WorkedValues) {
    EXPECT_EQ(encoded(0), 0xd5);
    EXPECT_EQ(encoded(15), 0xd5);
    EXPECT_EQ(encoded(16), 0xd4);
    EXPECT_EQ(encoded(-1), 0x55);
    EXPECT_EQ(encoded(-17), 0x54);
    EXPECT_EQ(encoded(1000), 0xfa);
    EXPECT_EQ(encoded(INT16_MAX), 0xaa);
    EXPECT_EQ(encoded(INT16_MIN), 0x2a);
}

TEST(ALaw, WritesOneByteForTwoAndNoMore) {
    const std::array<uint8_t, 8> pcm = {0, 0, 0, 0, 0, 0, 0, 0};
    std::array<uint8_t, 4> codes;
    for (int32_t bytes = 0; bytes <= 7; ++bytes) {
        codes.fill(0x11);
        const int32_t written = oru_g711a_encode(pcm.data() + 1, 0, bytes, codes.data()); // not aligned, too
        EXPECT_EQ(written, bytes / 2) << "an odd last byte is ignored";
        EXPECT_EQ(std::count(codes.begin(), codes.end(), 0xd5), bytes / 2);
        EXPECT_EQ(std::count(codes.begin(), codes.end(), 0x11), 4 - bytes / 2);
    }
}

TEST(ALaw, DoesNothingWithoutMemoryOrLength) {
    uint8_t byte = 7;
    EXPECT_EQ(oru_g711a_encode(nullptr, 0, 2, &byte), 0);
    EXPECT_EQ(oru_g711a_encode(&byte, 0, 2, nullptr), 0);
    EXPECT_EQ(oru_g711a_encode(&byte, 0, -2, &byte), 0);
    EXPECT_EQ(oru_g711a_encode(&byte, 0, INT_MIN, &byte), 0);
    EXPECT_EQ(byte, 7);
}

/* ---- without a board ---- */

class OruUtil : public testing::Test {
  protected:
    support::ScratchRunDir run_dir_;
};

TEST_F(OruUtil, WithoutABoardEverythingFailsAtOnce) {
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 10; ++i) {
        EXPECT_LT(oru_api_ircut_switch(1), 0);
        EXPECT_LT(oru_api_light_enable(1), 0);
        EXPECT_LT(oru_api_light_disable(1), 0);
        EXPECT_LT(oru_api_light_brightness_set(1, 5000), 0);
        EXPECT_EQ(oru_api_reach_night(0, 0), 0);
        EXPECT_EQ(oru_api_reach_day(0, nullptr, 0), 0);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 20s) << "60 calls; one that waited would take 2 s";
}

TEST_F(OruUtil, ABoardThatHangsIsGivenUp) {
    const support::BoardProcess boardd;
    boardd.signal(SIGSTOP);
    EXPECT_LT(oru_api_ircut_switch(1), 0);
    EXPECT_EQ(oru_api_reach_night(0, 0), 0);
    boardd.signal(SIGCONT);
    EXPECT_TRUE(support::eventually([] { return oru_api_ircut_switch(1) == 0; }));
}

/* ---- with a board ---- */

/* A member of boardd's status. */
std::string status(const char *pointer) {
    json_object *root = json_tokener_parse(board::BoardCtl().status().c_str());
    json_object *member = nullptr;
    json_pointer_get(root, pointer, &member);
    const std::string text = json_object_get_string(member);
    json_object_put(root);
    return text;
}

TEST_F(OruUtil, TheFilterMovesAndStaysWhereItIs) {
    const support::BoardProcess boardd;
    EXPECT_EQ(status("/light/filter"), "1") << "in front of the sensor at first";
    for (const int32_t position : {0, 0, 1, 1, 0}) {
        EXPECT_EQ(oru_api_ircut_switch(position), 0);
        EXPECT_EQ(status("/light/filter"), std::to_string(position));
    }
    for (const int32_t position : {2, -1, INT_MAX, INT_MIN}) {
        EXPECT_LT(oru_api_ircut_switch(position), 0);
    }
    EXPECT_EQ(status("/light/filter"), "0");
}

TEST_F(OruUtil, TheLampIsEnabledAndDisabledAndKeepsItsBrightness) {
    const support::BoardProcess boardd;
    EXPECT_EQ(status("/light/enabled"), "false");
    EXPECT_EQ(oru_api_light_brightness_set(1, 3333), 0);
    EXPECT_EQ(status("/light/lamp"), "0") << "not enabled yet";
    EXPECT_EQ(oru_api_light_enable(1), 0);
    EXPECT_EQ(status("/light/lamp"), "3333");
    EXPECT_EQ(oru_api_light_brightness_set(1, 10000), 0);
    EXPECT_EQ(status("/light/lamp"), "10000") << "at once while it is enabled";
    EXPECT_EQ(oru_api_light_disable(1), 0);
    EXPECT_EQ(oru_api_light_disable(1), 0);
    EXPECT_EQ(status("/light/lamp"), "0");
    EXPECT_EQ(oru_api_light_enable(1), 0);
    EXPECT_EQ(status("/light/lamp"), "10000");
    EXPECT_EQ(oru_api_light_brightness_set(1, 0), 0);
    EXPECT_EQ(status("/light/lamp"), "0");
}

TEST_F(OruUtil, UnknownChannelsAndBrightnessesAreRefused) {
    const support::BoardProcess boardd;
    for (const int32_t channel : {0, 2, -1, INT_MAX, INT_MIN}) {
        EXPECT_LT(oru_api_light_enable(channel), 0);
        EXPECT_LT(oru_api_light_disable(channel), 0);
        EXPECT_LT(oru_api_light_brightness_set(channel, 5000), 0);
    }
    for (const int32_t brightness : {-1, 10001, INT_MAX, INT_MIN}) {
        EXPECT_LT(oru_api_light_brightness_set(1, brightness), 0);
    }
    EXPECT_EQ(status("/light/enabled"), "false");
    EXPECT_EQ(status("/light/brightness"), "10000");
}

TEST_F(OruUtil, TakesNothingFromTheBoard) {
    const support::BoardProcess boardd;
    ASSERT_EQ(oru_api_ircut_switch(0), 0);
    EXPECT_EQ(status("/phase"), "idle");
}

/* Asks until the answer is yes. More often than the daemon does: what the rule says at which ask is tested in
 * virtual time. */
template <typename Ask>
bool eventually_yes(Ask ask) {
    return support::eventually([&] { return ask() != 0; }, 60s);
}

int32_t ask_night() {
    return oru_api_reach_night(0, 0);
}

int32_t ask_day() {
    int32_t scratch = 0;
    return oru_api_reach_day(2, &scratch, 0); // in whatever mode
}

int32_t lamp_on() {
    return oru_api_light_brightness_set(1, 10000) | oru_api_light_enable(1);
}

TEST_F(OruUtil, NightFallsAndDayBreaks) {
    const support::BoardProcess boardd;
    board::BoardCtl world;
    EXPECT_EQ(ask_night(), 0);
    world.set_sky_noise(10);
    world.set_sky({board::scene_ramp, 300, 0, 1000});
    ASSERT_TRUE(eventually_yes(ask_night)) << boardd.output();
    ASSERT_EQ(oru_api_ircut_switch(0) | lamp_on(), 0);
    EXPECT_TRUE(support::eventually([&] { return world.light_seen().seen_mlux > 10'000; })) << "by the lamp";
    EXPECT_TRUE(support::eventually([&] { return ask_day() == 0; }));
    world.set_sky({board::scene_ramp, 100'000, 0, 1000});
    ASSERT_TRUE(eventually_yes(ask_day)) << boardd.output();
    ASSERT_EQ(oru_api_light_disable(1) | oru_api_ircut_switch(1), 0);
    EXPECT_EQ(ask_night(), 0);
}

/* Moves the filter while the board hangs: the caller hears of a failure, the board does it all the same. */
void move_filter_too_late(const support::BoardProcess &boardd, int32_t position) {
    boardd.signal(SIGSTOP);
    EXPECT_LT(oru_api_ircut_switch(position), 0);
    boardd.signal(SIGCONT);
    ASSERT_TRUE(support::eventually([&] { return status("/light/filter") == std::to_string(position); }))
        << boardd.output();
}

/* The light is such that the rule would find no reason to switch by it. */
TEST_F(OruUtil, ASwitchThatABoardWithAHiccupDidUnheardIsAskedForAgain) {
    const support::BoardProcess boardd;
    board::BoardCtl world;
    ASSERT_NO_FATAL_FAILURE(move_filter_too_late(boardd, 0));
    ASSERT_EQ(lamp_on(), 0);
    EXPECT_TRUE(eventually_yes(ask_night)) << "500 lux, and the filter is out of the way";
    ASSERT_EQ(oru_api_ircut_switch(0) | lamp_on(), 0);
    world.set_sky({board::scene_constant, 50'000, 0, 0});
    ASSERT_EQ(oru_api_light_disable(1), 0);
    ASSERT_NO_FATAL_FAILURE(move_filter_too_late(boardd, 1));
    EXPECT_TRUE(eventually_yes(ask_day)) << "50 lux might be the lamp's, but the filter is in its place";
}

} // namespace
