// Reading the settings at start-up: the order of the keys, and what each value means.

#include "settings/start_reading.h"

#include "script/daemon_test.h"
#include "settings/device_status.h"
#include "settings/hot_config.h"
#include "settings/region.h"

#include <ostream>

namespace {

constexpr char profile_text[] =
    R"({"id":0,"icon":0,"cch":0,"pt":[1,1],"bps":[0,0],"fps":[15,15],"res":[1,2]})";
constexpr char default_text[] =
    R"({"id":0,"icon":0,"cch":0,"pt":[1,1],"bps":[7,0],"fps":[15,15],"res":[4,2]})";

/* What the settings have made of the daemon's record. */
struct Flags {
    int region_code = 3;
    int flicker_hz = 50;
    int bind_status = 0;
    int power = 1;
    int watermark = 1;
    int flip = 0;
    int wdr = 0;
    int hdr_switch = 0;
    int motion_detection_enable = 0;

    bool operator==(const Flags &) const = default;
    friend std::ostream &operator<<(std::ostream &out, const Flags &flags) {
        return out << "region " << flags.region_code << " flicker " << flags.flicker_hz << " bind "
                   << flags.bind_status << " power " << flags.power << " watermark " << flags.watermark
                   << " flip " << flags.flip << " wdr " << flags.wdr << " hdr " << flags.hdr_switch
                   << " motion " << flags.motion_detection_enable;
    }
};

struct KeyRow {
    const char *key;
    const char *not_sent;
    const char *no_value;
};

constexpr KeyRow rows[] = {
    {"bind_status", "log: send get value cmd fail.\n", "log: Get faild.\n"},
    {"power", "log: send get value cmd fail.\n", "log: Get faild.\n"},
    {"watermark", "log: send get value cmd fail.\n", "log: Get faild.\n"},
    {"flip", "log: send get value cmd fail.\n", "log: Get faild.\n"},
    {"wdr", "log: send get value cmd fail.\n", "log: Get faild.\n"},
    {"regioncode", "log: send get value cmd fail.\n", "log: Get faild.\n"},
    {"flicker", "log: send get value cmd fail.\n", "log: Get flicker faild,default 50hz\n"},
    {"hot_config", "log: send get value cmd fail.\n", "log: Hot Config Get faild.\n"},
    {"hdr_switch", "log: send get hdr_switch value cmd fail.\n", "log: Get faild.\n"},
    {"motion_detection_enable", "log: send get motion_detection_enable value cmd fail.\n",
     "log: Get faild.\n"},
};

class StartReading : public DaemonTest {
  protected:
    void put(const std::string &key, const std::string &value) {
        script.store["nvram:default:" + key] = value;
    }

    static Flags flags() {
        return {device_status.region_code, device_status.flicker_hz, device_status.bind_status,
                device_status.power,       device_status.watermark,  device_status.flip,
                device_status.wdr,         device_status.hdr_switch, device_status.motion_detection_enable};
    }

    static std::string request(const std::string &key) {
        return "libmortox_get_value(store, nvram, default, " + key + ", 0, -1, 0)";
    }

    /* Every request, and behind each what `said` has for its key. */
    static Entries requests(const std::map<std::string, Entries> &said = {}) {
        Entries result = {"libmortox_config_open(0)"};
        for (const KeyRow &row : rows) {
            result.push_back(request(row.key));
            const auto found = said.find(row.key);
            if (found != said.end()) {
                result.insert(result.end(), found->second.begin(), found->second.end());
            }
        }
        result.emplace_back("libmortox_close(store)");
        return result;
    }

    /* The journal without the profile, which is a matter of its own. */
    Entries without_profile() const {
        return journal_without(
            {"hot_config_str", "debug: ", "get_deviceType", "warning: Save default", "libmortox_set_value"});
    }
};

// ---- the whole of it ----

TEST_F(StartReading, OfAnEmptyStoreKeepsEveryDefaultAndStoresTheDefaultProfile) {
    settings_read();
    EXPECT_EQ(flags(), Flags{});
    EXPECT_EQ(script.store, (std::map<std::string, std::string>{{"nvram:default:hot_config", default_text}}));
    EXPECT_EQ(venc_config.channel[0].width, 2560);
    EXPECT_EQ(venc_config.bind_status, 0);
}

TEST_F(StartReading, OfAnEmptyStoreAsksForEveryKeyInOrder) {
    std::map<std::string, Entries> said;
    for (const KeyRow &row : rows) {
        said[row.key] = {row.no_value};
    }
    settings_read();
    EXPECT_EQ(without_profile(), joined({requests(said), {"log: device status is {0,1,1,0,0}\n"}}));
}

TEST_F(StartReading, OfAFullStoreTakesEveryValueInOrder) {
    for (const auto &[key, value] : std::map<std::string, std::string>{{"bind_status", "ok"},
                                                                       {"power", "off"},
                                                                       {"watermark", "off"},
                                                                       {"flip", "on"},
                                                                       {"wdr", "on"},
                                                                       {"regioncode", "US"},
                                                                       {"flicker", "60"},
                                                                       {"hot_config", profile_text},
                                                                       {"hdr_switch", "on"},
                                                                       {"motion_detection_enable", "on"}}) {
        put(key, value);
    }
    settings_read();
    EXPECT_EQ(flags(), (Flags{0, 60, 1, 0, 0, 1, 1, 1, 1}));
    EXPECT_EQ(venc_config.bind_status, 1);
    EXPECT_EQ(venc_config.ready, 1);
    EXPECT_EQ(journal(),
              joined({requests({{"hot_config",
                                 {std::string("hot_config_str_to_object(") + profile_text + ")",
                                  "debug: [hot_config_str_to_vencconfig:130] hot_config index[0] bitrate[0] "
                                  "resolution[1]",
                                  "debug: [hot_config_str_to_vencconfig:130] hot_config index[1] bitrate[0] "
                                  "resolution[2]",
                                  "debug: HotConfig ready flag:1"}}}),
                      {"log: device status is {1,0,0,1,1}\n"}}));
}

TEST_F(StartReading, TouchesNoOtherState) {
    device_status.reload_boardav = 1;
    put("reload_boardav", "off");
    put("running", "off");
    settings_read();
    EXPECT_EQ(device_status.reload_boardav, 1);
    EXPECT_EQ(device_status.running, 1);
    EXPECT_EQ(last_signal, -1);
}

TEST_F(StartReading, EndsTheProcessWhenTheStoreDoesNotOpen) {
    script.store_opens = false;
    EXPECT_EQ(exit_status_of(settings_read), 1);
    EXPECT_EQ(journal(), (Entries{"libmortox_config_open(0)", "log: libmortox_open faild.\n", "exit(1)"}));
}

struct StatusLine {
    const char *key;
    const char *value;
    const char *line;
};

TEST_F(StartReading, LogsTheFiveFlagsInOrder) {
    for (const StatusLine &row :
         {StatusLine{"bind_status", "ok", "{1,1,1,0,0}"}, StatusLine{"power", "off", "{1,0,1,0,0}"},
          StatusLine{"watermark", "off", "{1,0,0,0,0}"}, StatusLine{"flip", "on", "{1,0,0,1,0}"},
          StatusLine{"wdr", "on", "{1,0,0,1,1}"}}) { // one more each time
        put(row.key, row.value);
        settings_read();
        EXPECT_EQ(journal().back(), std::string("log: device status is ") + row.line + "\n");
    }
}

// ---- one key at a time ----

struct ValueRow {
    const char *key;
    const char *value;
    Flags flags;
};

class StartReadingValue : public StartReading, public testing::WithParamInterface<KeyRow> {};

const ValueRow values[] = {
    {"bind_status", "ok", {.bind_status = 1}},
    {"bind_status", "OK", {}},
    {"bind_status", "ok ", {}},
    {"bind_status", "no", {}},
    {"bind_status", "on", {}},
    {"bind_status", "", {}},
    {"power", "off", {.power = 0}},
    {"power", "OFF", {}},
    {"power", "on", {}},
    {"power", "no", {}},
    {"power", "", {}},
    {"watermark", "off", {.watermark = 0}},
    {"watermark", "Off", {}},
    {"watermark", "on", {}},
    {"watermark", "0", {}},
    {"flip", "on", {.flip = 1}},
    {"flip", "On", {}},
    {"flip", "yes", {}},
    {"flip", "off", {}},
    {"wdr", "on", {.wdr = 1}},
    {"wdr", "ON", {}},
    {"wdr", "1", {}},
    {"wdr", "off", {}},
    {"regioncode", "US", {.region_code = 0}},
    {"regioncode", "IN", {.region_code = 1}},
    {"regioncode", "HW", {.region_code = 2}},
    {"regioncode", "us", {.region_code = 3}},
    {"regioncode", "In", {.region_code = 3}},
    {"regioncode", "hw", {.region_code = 3}},
    {"regioncode", "CN", {.region_code = 3}},
    {"regioncode", "USA", {.region_code = 3}},
    {"regioncode", "U", {.region_code = 3}},
    {"regioncode", "", {.region_code = 3}},
    {"flicker", "60", {.flicker_hz = 60}},
    {"flicker", "50", {.flicker_hz = 50}},
    {"flicker", "abc", {.flicker_hz = 0}},
    {"flicker", "", {.flicker_hz = 0}},
    {"flicker", "-5", {.flicker_hz = -5}},
    {"flicker", "100000", {.flicker_hz = 100000}},
    {"flicker", " 60hz", {.flicker_hz = 60}},
    {"flicker", "4294967356", {.flicker_hz = sizeof(long) == 4 ? INT32_MAX : 60}}, // cut to a word
    {"hdr_switch", "on", {.hdr_switch = 1}},
    {"hdr_switch", "ON", {.hdr_switch = 0}},
    {"hdr_switch", "off", {.hdr_switch = 0}},
    {"hdr_switch", "", {.hdr_switch = 0}},
    {"motion_detection_enable", "on", {.motion_detection_enable = 1}},
    {"motion_detection_enable", "On", {.motion_detection_enable = 0}},
    {"motion_detection_enable", "off", {.motion_detection_enable = 0}},
};

TEST_P(StartReadingValue, IsReadAsItsKeyReadsIt) {
    for (const ValueRow &row : values) {
        if (std::string(row.key) != GetParam().key) {
            continue;
        }
        SCOPED_TRACE(row.value);
        const Flags defaults;
        device_status.region_code = defaults.region_code;
        device_status.flicker_hz = defaults.flicker_hz;
        device_status.bind_status = 0;
        device_status.power = 1;
        device_status.watermark = 1;
        device_status.flip = 0;
        device_status.wdr = 0;
        put(row.key, row.value);
        settings_read();
        EXPECT_EQ(flags(), row.flags);
    }
}

TEST_P(StartReadingValue, ThatIsNotSentIsLoggedAndTheNextAreAskedFor) {
    const KeyRow &lost = GetParam();
    for (const KeyRow &row : rows) {
        put(row.key, std::string(row.key) == "hot_config" ? profile_text : "-");
    }
    script.get_fails = {lost.key};
    settings_read();
    EXPECT_EQ(without_profile(),
              joined({requests({{lost.key, {lost.not_sent}}}), {"log: device status is {0,1,1,0,0}\n"}}));
}

TEST_P(StartReadingValue, ThatIsNotThereIsLoggedAndTheNextAreAskedFor) {
    const KeyRow &lost = GetParam();
    for (const int32_t result : {0, -1, 2}) {
        for (const KeyRow &row : rows) {
            put(row.key, std::string(row.key) == "hot_config" ? profile_text : "-");
        }
        script.response_results = {{lost.key, result}};
        script.journal.clear();
        device_status.flicker_hz = 50;
        settings_read();
        EXPECT_EQ(without_profile(),
                  joined({requests({{lost.key, {lost.no_value}}}), {"log: device status is {0,1,1,0,0}\n"}}))
            << result;
    }
}

TEST_P(StartReadingValue, ThatIsNotThereLeavesItsFlagAsItWas) {
    for (const bool asked : {true, false}) {
        device_status.region_code = 1;
        device_status.flicker_hz = 60;
        device_status.bind_status = 1;
        device_status.power = 0;
        device_status.watermark = 0;
        device_status.flip = 1;
        device_status.wdr = 1;
        device_status.hdr_switch = 1;
        device_status.motion_detection_enable = 1;
        script.store.clear();
        script.get_fails.clear();
        if (!asked) {
            script.get_fails = {GetParam().key};
        }
        settings_read();
        EXPECT_EQ(flags(), (Flags{1, 60, 1, 0, 0, 1, 1, 1, 1})) << asked;
    }
}

TEST_P(StartReadingValue, WithoutATextCountsAsNotThere) {
    const KeyRow &row = GetParam();
    put(row.key, "on");
    script.when("libmortox_get_value(store, nvram, default, " + std::string(row.key) + ",",
                [this] { script.value_type = XDATA_NONE; });
    settings_read();
    const size_t at = script.position(request(row.key));
    EXPECT_EQ(journal().at(at + 1), row.no_value);
    EXPECT_EQ(flags(), Flags{});
}

INSTANTIATE_TEST_SUITE_P(Keys, StartReadingValue, testing::ValuesIn(rows),
                         [](const auto &row) { return std::string(row.param.key); });

TEST_F(StartReading, OverwritesHdrAndMotionDetectionEitherWayButNotTheOtherFlags) {
    device_status.flip = 1;
    device_status.wdr = 1;
    device_status.bind_status = 1;
    device_status.hdr_switch = 1;
    device_status.motion_detection_enable = 1;
    for (const char *key : {"bind_status", "flip", "wdr", "hdr_switch", "motion_detection_enable"}) {
        put(key, "off");
    }
    settings_read();
    EXPECT_EQ(flags(), (Flags{.bind_status = 1, .flip = 1, .wdr = 1}));
}

TEST_F(StartReading, NeverSwitchesPowerOrWatermarkOn) {
    device_status.power = 0;
    device_status.watermark = 0;
    put("power", "on");
    put("watermark", "on");
    settings_read();
    EXPECT_EQ(flags(), (Flags{.power = 0, .watermark = 0}));
}

TEST_F(StartReading, NamesTheFrequencyThatIsInForceWhenThereIsNoOther) {
    device_status.flicker_hz = 60;
    settings_read();
    EXPECT_EQ(journal().at(script.position(request("flicker")) + 1), "log: Get flicker faild,default 60hz\n");
}

// ---- the copy of the bind status in the profile ----

TEST_F(StartReading, WritesTheBindStatusIntoTheProfileAtOnce) {
    put("bind_status", "ok");
    int32_t at_next_key = -1;
    script.when(request("power"), [&] { at_next_key = venc_config.bind_status; });
    settings_read();
    EXPECT_EQ(at_next_key, 1);
}

TEST_F(StartReading, CopiesTheBindStatusOnceThereIsAProfile) {
    put("bind_status", "no");
    int32_t at_check = -1;
    int32_t at_next_key = -1;
    venc_config.bind_status = 9;
    script.when("debug: HotConfig ready flag", [&] { at_check = venc_config.bind_status; });
    script.when(request("hdr_switch"), [&] { at_next_key = venc_config.bind_status; });
    settings_read();
    EXPECT_EQ(at_check, 9);
    EXPECT_EQ(at_next_key, 0);
}

// ---- the profile in the sequence ----

TEST_F(StartReading, ChecksTheProfileBetweenItsKeyAndTheLastTwo) {
    settings_read();
    EXPECT_LT(script.position(request("hot_config")), script.position("debug: HotConfig ready flag"));
    EXPECT_LT(script.position("debug: HotConfig ready flag"), script.position("libmortox_set_value"));
    EXPECT_LT(script.position("libmortox_set_value"), script.position(request("hdr_switch")));
}

TEST_F(StartReading, OfAProfileThatIsNoneTakesTheDefault) {
    put("hot_config", "{}");
    settings_read();
    EXPECT_EQ(journal().at(script.position(request("hot_config")) + 1), "hot_config_str_to_object({})");
    EXPECT_EQ(journal().at(script.position(request("hot_config")) + 2), "debug: HotConfig ready flag:0");
    EXPECT_EQ(script.store["nvram:default:hot_config"], default_text);
}

TEST_F(StartReading, StopsAtAProfileThatCannotBeHad) {
    script.device_type_result = -1;
    EXPECT_EQ(exit_status_of(settings_read), 1);
    EXPECT_FALSE(script.has(request("hdr_switch")));
    EXPECT_FALSE(script.has("libmortox_close"));
}

// ---- regions ----

TEST(Region, IsKnownByItsExactName) {
    EXPECT_EQ(region_code_of("US"), 0);
    EXPECT_EQ(region_code_of("IN"), 1);
    EXPECT_EQ(region_code_of("HW"), 2);
    for (const char *other : {"", "us", "Us", "in", "hw", "U", "USA", " US", "US\n", "EU", "3"}) {
        EXPECT_EQ(region_code_of(other), 3) << other;
    }
}

} // namespace
