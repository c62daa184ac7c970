// Names and values of settings, judged without a store.

#include "strellctl/failure.h"
#include "strellctl/known_settings.h"
#include "strellctl/setting_name.h"

#include <gtest/gtest.h>
#include <set>

using ctl::find_known_setting;
using ctl::parse_setting_name;
using ctl::SettingName;

namespace {

std::string objection(const std::string &key, const std::string &value) {
    const ctl::KnownSetting *known = find_known_setting(key);
    return known == nullptr ? "there is no " + key : known->objection(*known, value);
}

TEST(SettingName, AKeyAloneMeansItsOwnNamespace) {
    EXPECT_EQ(parse_setting_name("flip"), (SettingName{"nvram", "default", "flip"}));
    EXPECT_EQ(parse_setting_name("hot_status"), (SettingName{"mem", "default", "hot_status"}));
    EXPECT_EQ(parse_setting_name("whatever"), (SettingName{"nvram", "default", "whatever"}));
}

TEST(SettingName, LongerFormsSayWhatTheyMean) {
    EXPECT_EQ(parse_setting_name("mem:flip"), (SettingName{"mem", "default", "flip"}));
    EXPECT_EQ(parse_setting_name("a:b:c"), (SettingName{"a", "b", "c"}));
    EXPECT_EQ(parse_setting_name("a:b:c:d"), (SettingName{"a", "b", "c:d"})) << "a key may have colons";
}

TEST(SettingName, WhatTheStoreCannotTakeIsRefused) {
    for (const std::string text : {"", ":", "a:", ":a", "a::b", "with blank", "tab\t", "\xc3\xa4"}) {
        EXPECT_THROW(parse_setting_name(text), ctl::Usage) << text;
    }
    EXPECT_NO_THROW(parse_setting_name(std::string(63, 'k')));
    EXPECT_THROW(parse_setting_name(std::string(64, 'k')), ctl::Usage);
}

TEST(SettingName, TheShortTextReadsBack) {
    for (const SettingName &name : {SettingName{"nvram", "default", "flip"},
                                    {"mem", "default", "flip"},
                                    {"mem", "default", "hot_status"},
                                    {"nvram", "default", "hot_status"},
                                    {"nvram", "other", "flip"},
                                    {"nvram", "default", "a:b"},
                                    {"nvram", "default", "unknown"}}) {
        EXPECT_EQ(parse_setting_name(ctl::short_text(name)), name) << ctl::full_text(name);
    }
    EXPECT_EQ(ctl::short_text({"nvram", "default", "flip"}), "flip");
}

TEST(KnownSettings, AreWhatTheDaemonReads) {
    std::set<std::string> keys;
    for (const ctl::KnownSetting &known : ctl::known_settings()) {
        EXPECT_TRUE(keys.insert(known.key).second) << known.key << " stands there twice";
        EXPECT_STRNE(known.text, "");
    }
    EXPECT_EQ(keys, (std::set<std::string>{"bind_status", "flicker", "flip", "hdr_switch", "hot_config",
                                           "hot_status", "motion_detection_enable", "night_mode", "power",
                                           "regioncode", "watermark", "wdr"}));
}

TEST(KnownSettings, AreFoundUnderTheirFullNameOnly) {
    EXPECT_NE(find_known_setting(SettingName{"nvram", "default", "flip"}), nullptr);
    EXPECT_EQ(find_known_setting(SettingName{"mem", "default", "flip"}), nullptr);
    EXPECT_EQ(find_known_setting(SettingName{"nvram", "other", "flip"}), nullptr);
    EXPECT_EQ(find_known_setting("flap"), nullptr);
}

TEST(KnownSettings, ChoicesTakeNothingElse) {
    for (const char *key : {"power", "watermark", "flip", "wdr", "hdr_switch", "motion_detection_enable"}) {
        EXPECT_EQ(objection(key, "on"), "");
        EXPECT_EQ(objection(key, "off"), "");
        for (const char *value : {"", "ON", "1", "on|off", "on "}) {
            EXPECT_EQ(objection(key, value), "is none of: on, off") << key << " " << value;
        }
    }
    EXPECT_EQ(objection("flicker", "60"), "");
    EXPECT_EQ(objection("flicker", "55"), "is none of: 50, 60");
    EXPECT_EQ(objection("night_mode", "2"), "");
    EXPECT_EQ(objection("night_mode", "night"), "is none of: 0, 1, 2");
    EXPECT_EQ(objection("bind_status", "ok"), "");
    EXPECT_EQ(objection("bind_status", "OK"), "is none of: ok, no");
}

TEST(KnownSettings, RegionsAreTwoCapitals) {
    for (const char *value : {"US", "IN", "HW", "DE"}) {
        EXPECT_EQ(objection("regioncode", value), "");
    }
    for (const char *value : {"us", "USA", "U", "", "U1"}) {
        EXPECT_NE(objection("regioncode", value), "") << value;
    }
}

TEST(KnownSettings, ProfilesAreCheckedAsTheDaemonAndTheBoardReadThem) {
    const auto profile = [](const std::string &pt, const std::string &bps, const std::string &fps,
                            const std::string &res) {
        return objection("hot_config", R"({"id":0,"icon":0,"cch":0,"pt":[)" + pt + R"(],"bps":[)" + bps +
                                           R"(],"fps":[)" + fps + R"(],"res":[)" + res + "]}");
    };
    EXPECT_EQ(profile("1,0", "7,0", "15,30", "4,2"), "");
    EXPECT_EQ(profile("2,0", "7,0", "15,15", "4,2"), "has 2 in \"pt\", which goes from 0 to 1");
    EXPECT_EQ(profile("1,0", "12,0", "15,15", "4,2"), "has 12 in \"bps\", which goes from 0 to 11");
    EXPECT_EQ(profile("1,0", "7,-1", "15,15", "4,2"), "has -1 in \"bps\", which goes from 0 to 11");
    EXPECT_EQ(profile("1,0", "7,0", "15,0", "4,2"), "has 0 in \"fps\", which goes from 1 to 30");
    EXPECT_EQ(profile("1,0", "7,0", "31,15", "4,2"), "has 31 in \"fps\", which goes from 1 to 30");
    EXPECT_EQ(profile("1,0", "7,0", "15,15", "5,2"), "has 5 in \"res\", which goes from 0 to 4");
    for (const char *value : {"", "{}", "small", "[1,2]", R"({"id":0})"}) {
        EXPECT_NE(objection("hot_config", value).find("is no encoder profile"), std::string::npos) << value;
    }
}

TEST(KnownSettings, AMisspeltKeyIsRecognised) {
    EXPECT_EQ(ctl::similar_key("flp"), "flip");
    EXPECT_EQ(ctl::similar_key("hotconfig"), "hot_config");
    EXPECT_EQ(ctl::similar_key("flip"), "flip");
    EXPECT_EQ(ctl::similar_key("temperature"), "");
}

TEST(KnownSettings, SayWhatToDoNext) {
    EXPECT_NE(ctl::next_step(*find_known_setting("hot_config")).find("strellctl reload"), std::string::npos);
    EXPECT_NE(ctl::next_step(*find_known_setting("hdr_switch")).find("when it starts"), std::string::npos);
    EXPECT_EQ(ctl::next_step(*find_known_setting("flip")), "");
    EXPECT_EQ(ctl::next_step(*find_known_setting("hot_status")), "");
}

} // namespace
