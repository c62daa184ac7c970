// What the value of each setting does, to the daemon's record and to the board. The keys differ on purpose.

#include "change_handlers_fixture.h"

#include <climits>

namespace {

using Entries = std::vector<std::string>;

// ---- flags that follow one word ----

/* A flag, the word it knows, and what the board is told. */
struct Flag {
    const char *key;
    Relaxed<uint8_t> DeviceStatus::*flag;
    const char *word;
    int at_word;
    Entries told_at_word;
    Entries told_otherwise;
    bool otherwise_tells_each_time;
};

const Flag flags[] = {
    {"bind_status", &DeviceStatus::bind_status, "ok", 1, {"switch_ch5_res(1)"}, {"switch_ch5_res(0)"}, true},
    {"power",
     &DeviceStatus::power,
     "off",
     0,
     {"oru_api_algo_stop()", "stop_stream()"},
     {"oru_api_algo_start()", "start_stream()"},
     false},
    {"watermark", &DeviceStatus::watermark, "on", 1, {"enable_osd()"}, {"disable_osd()"}, false},
    {"wdr", &DeviceStatus::wdr, "on", 1, {"enable_wdr()"}, {"disable_wdr()"}, false},
    {"flip", &DeviceStatus::flip, "on", 1, {"set_video_Vflip()"}, {"set_video_normal()"}, false},
};

class FlagRule : public ChangeHandlers, public testing::WithParamInterface<Flag> {
  protected:
    const Flag &row_ = GetParam();
    Relaxed<uint8_t> &flag_ = device_status.*GetParam().flag;

    void set(int value) { flag_ = static_cast<uint8_t>(value); }

    /* What the board is told. */
    Entries told(const char *value) {
        Entries result = effect(row_.key, value);
        // wdr says more, which is a matter of its own
        result.erase(std::remove_if(result.begin(), result.end(),
                                    [](const auto &entry) { return entry.rfind("info: wdr is", 0) == 0; }),
                     result.end());
        return result;
    }
};

TEST_P(FlagRule, TheWordSetsTheFlagAndTellsTheBoardEveryTime) {
    for (const int before : {0, 1}) {
        set(before);
        EXPECT_EQ(told(row_.word), row_.told_at_word) << before;
        EXPECT_EQ(flag_, row_.at_word);
    }
}

TEST_P(FlagRule, AnythingElseMakesItTheOtherOne) {
    for (const char *value : {"", "ON", "OK", "OFF", "on ", " off", "ok.", "yes", "1", "0"}) {
        set(row_.at_word);
        EXPECT_EQ(told(value), row_.told_otherwise) << value;
        EXPECT_EQ(flag_, 1 - row_.at_word) << value;
    }
}

TEST_P(FlagRule, AnythingElseTellsTheBoardAgainOnlyWhereThatIsWanted) {
    set(1 - row_.at_word);
    EXPECT_EQ(told("-"), row_.otherwise_tells_each_time ? row_.told_otherwise : Entries{});
    EXPECT_EQ(flag_, 1 - row_.at_word);
}

TEST_P(FlagRule, AKeyWithoutAValueChangesNothing) {
    for (const int before : {0, 1}) {
        set(before);
        EXPECT_EQ(told(nullptr), Entries{});
        EXPECT_EQ(flag_, before);
    }
}

TEST_P(FlagRule, WhatDoesNotParseChangesNothing) {
    for (const int before : {0, 1}) {
        set(before);
        script::notify_broken(row_.key);
        EXPECT_EQ(flag_, before);
    }
}

TEST_P(FlagRule, TheFlagIsSetBeforeTheBoardIsTold) {
    int at_word = -1;
    int otherwise = -1;
    script.when(row_.told_at_word[0], [&] { at_word = flag_; });
    script.when(row_.told_otherwise[0], [&] { otherwise = flag_; });
    set(1 - row_.at_word);
    script::notify(row_.key, row_.word);
    script::notify(row_.key, "-");
    EXPECT_EQ(at_word, row_.at_word);
    EXPECT_EQ(otherwise, 1 - row_.at_word);
}

TEST_P(FlagRule, ABoardThatFailsIsNotMinded) {
    for (const char *call :
         {"switch_ch5_res", "stop_stream", "start_stream", "oru_api_algo_stop", "oru_api_algo_start",
          "enable_osd", "disable_osd", "enable_wdr", "disable_wdr", "set_video_Vflip", "set_video_normal"}) {
        script.results[call] = -1;
    }
    set(1 - row_.at_word);
    EXPECT_EQ(told(row_.word), row_.told_at_word);
    EXPECT_EQ(flag_, row_.at_word);
    EXPECT_EQ(told("-"), row_.told_otherwise);
    EXPECT_EQ(flag_, 1 - row_.at_word);
}

INSTANTIATE_TEST_SUITE_P(Keys, FlagRule, testing::ValuesIn(flags),
                         [](const auto &row) { return std::string(row.param.key); });

TEST_F(ChangeHandlers, WatermarkOnTwiceShowsItTwiceOffTwiceHidesItOnce) {
    for (const char *value : {"on", "on", "off", "off"}) {
        script::notify("watermark", value);
    }
    EXPECT_EQ(script.count("enable_osd()"), 2U);
    EXPECT_EQ(script.count("disable_osd()"), 1U);
}

TEST_F(ChangeHandlers, WatermarkSaysHowItWasBeforeTheChange) {
    device_status.watermark = 0;
    script::notify("watermark", "on");
    script::notify("watermark", "off");
    EXPECT_EQ(
        script.entries("info: watermark_status_cb"),
        (Entries{"info: watermark_status_cb(),[on] now[0]\n", "info: watermark_status_cb(),[off] now[1]\n"}));
}

TEST_F(ChangeHandlers, PowerOffTwiceStopsTwiceThenOnStartsOnce) {
    for (const char *value : {"off", "off", "on", "on"}) {
        script::notify("power", value);
    }
    for (const char *stopped : {"oru_api_algo_stop()", "stop_stream()"}) {
        EXPECT_EQ(script.count(stopped), 2U);
    }
    for (const char *started : {"oru_api_algo_start()", "start_stream()"}) {
        EXPECT_EQ(script.count(started), 1U);
    }
}

TEST_F(ChangeHandlers, WdrSaysHowItWasThenActs) {
    EXPECT_EQ(effect("wdr", "on"), (Entries{"info: wdr is close", "enable_wdr()"}));
    EXPECT_EQ(effect("wdr", "on"), (Entries{"info: wdr is open", "enable_wdr()"}));
    EXPECT_EQ(effect("wdr", "off"), (Entries{"info: wdr is open", "disable_wdr()"}));
    EXPECT_EQ(effect("wdr", "off"), (Entries{"info: wdr is close"}));
}

TEST_F(ChangeHandlers, BindStatusLeavesTheProfilesCopyAlone) {
    script::notify("bind_status", "ok");
    EXPECT_EQ(venc_config.bind_status, 0);
    venc_config.bind_status = 1;
    script::notify("bind_status", "no");
    EXPECT_EQ(venc_config.bind_status, 1);
}

// ---- regioncode ----

TEST_F(ChangeHandlers, RegioncodeIsReadExactlyAndToldToNobody) {
    const std::pair<const char *, int> regions[] = {{"US", 0}, {"IN", 1}, {"HW", 2}, {"EU", 3},
                                                    {"us", 3}, {"", 3},   {"USA", 3}};
    for (const auto &[text, code] : regions) {
        device_status.region_code = 77;
        EXPECT_EQ(effect("regioncode", text), Entries{}) << text;
        EXPECT_EQ(device_status.region_code, code) << text;
    }
}

TEST_F(ChangeHandlers, RegioncodeWithoutAValueIsAnyOther) {
    device_status.region_code = 0;
    EXPECT_EQ(effect("regioncode", nullptr), Entries{});
    EXPECT_EQ(device_status.region_code, 3);
}

TEST_F(ChangeHandlers, RegioncodeThatDoesNotParseChangesNothing) {
    device_status.region_code = 0;
    script::notify_broken("regioncode");
    EXPECT_EQ(device_status.region_code, 0);
}

// ---- flicker ----

TEST_F(ChangeHandlers, FlickerTellsTheBoardWhenItIsAnother) {
    EXPECT_EQ(effect("flicker", "60"), (Entries{"set_video_flicker(60)"}));
    EXPECT_EQ(device_status.flicker_hz, 60);
}

TEST_F(ChangeHandlers, FlickerThatIsInForceIsNotToldAgain) {
    device_status.flicker_hz = 60;
    EXPECT_EQ(effect("flicker", "60"), Entries{});
    EXPECT_EQ(effect("flicker", "60hz"), Entries{});
    EXPECT_EQ(device_status.flicker_hz, 60);
}

TEST_F(ChangeHandlers, FlickerIsNotChecked) {
    EXPECT_EQ(effect("flicker", "abc"), (Entries{"set_video_flicker(0)"}));
    EXPECT_EQ(device_status.flicker_hz, 0);
    EXPECT_EQ(effect("flicker", "-7"), (Entries{"set_video_flicker(-7)"}));
    EXPECT_EQ(effect("flicker", "2147483647"), (Entries{"set_video_flicker(2147483647)"}));
}

TEST_F(ChangeHandlers, FlickerBeyondANumberIsCutToAWord) {
    constexpr bool long_is_a_word = sizeof(long) == sizeof(int32_t); // then the library has cut it already
    script::notify("flicker", "4294967356");
    EXPECT_EQ(device_status.flicker_hz, long_is_a_word ? INT32_MAX : 60);
    script::notify("flicker", "99999999999999999999");
    EXPECT_EQ(device_status.flicker_hz, long_is_a_word ? INT32_MAX : -1);
    script::notify("flicker", "-99999999999999999999");
    EXPECT_EQ(device_status.flicker_hz, long_is_a_word ? INT32_MIN : 0);
}

TEST_F(ChangeHandlers, FlickerThatDoesNotParseChangesNothing) {
    device_status.flicker_hz = 60;
    script::notify_broken("flicker");
    EXPECT_EQ(device_status.flicker_hz, 60);
}

TEST_F(ChangeHandlers, FlickerThatTheBoardRefusesIsStoredAllTheSame) {
    script.results["set_video_flicker"] = -1;
    EXPECT_EQ(effect("flicker", "60"), (Entries{"set_video_flicker(60)"}));
    EXPECT_EQ(device_status.flicker_hz, 60);
}

TEST_F(ChangeHandlers, FlickerIsStoredBeforeTheBoardIsTold) {
    int32_t stored = -1;
    script.when("set_video_flicker", [&] { stored = device_status.flicker_hz; });
    script::notify("flicker", "60");
    EXPECT_EQ(stored, 60);
}

TEST_F(ChangeHandlers, FlickerWithoutAValueIsFiftyHereAndAsItWasOnTheBoard) {
    device_status.flicker_hz = 60;
    EXPECT_EQ(effect("flicker", nullptr), Entries{});
    EXPECT_EQ(device_status.flicker_hz, 50);
}

// ---- what no handler touches ----

TEST_F(ChangeHandlers, EachKeyTouchesItsOwnFieldOnly) {
    for (const OrdinaryKey &row : ordinary_keys) {
        script::notify(row.key, "on");
    }
    EXPECT_EQ(device_status.running, 1);
    EXPECT_EQ(device_status.bind_status, 0);
    EXPECT_EQ(device_status.power, 1);
    EXPECT_EQ(device_status.watermark, 1);
    EXPECT_EQ(device_status.wdr, 1);
    EXPECT_EQ(device_status.flip, 1);
    EXPECT_EQ(device_status.region_code, 3);
    EXPECT_EQ(device_status.flicker_hz, 0);
    EXPECT_EQ(device_status.reload_boardav, 0);
    EXPECT_EQ(device_status.hdr_switch, 0);
    EXPECT_EQ(device_status.motion_detection_enable, 0);
}

} // namespace
