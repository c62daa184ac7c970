// The encoder profile: the tables behind its indexes, and the default.

#include "settings/hot_config.h"

#include "script/daemon_test.h"

#include <cstring>

namespace {

constexpr char text_300[] = R"({"id":0,"icon":0,"cch":0,"pt":[1,1],"bps":[5,0],"fps":[15,15],"res":[3,2]})";
constexpr char text_other[] = R"({"id":0,"icon":0,"cch":0,"pt":[1,1],"bps":[7,0],"fps":[15,15],"res":[4,2]})";

struct Size {
    int32_t width;
    int32_t height;
};
constexpr Size sizes[] = {{1920, 1080}, {1280, 720}, {640, 360}, {2304, 1296}, {2560, 1440}};
constexpr int32_t resolution_count = 5;

/* The bit rate of every index, for an encoding that is not raised. */
const std::map<int32_t, int32_t> plain_bitrates = {{0, 256000},  {1, 384000},  {2, 512000},   {3, 900000},
                                                   {4, 700000},  {5, 1000000}, {6, 1200000},  {7, 1400000},
                                                   {8, 1900000}, {9, 1900000}, {10, 2900000}, {11, 3900000}};
constexpr int32_t other_bitrate = 800000;

const std::map<int32_t, int32_t> raised_1080 = {{2, 1200000}, {3, 1500000}, {4, 1300000}, {6, 2000000}};
const std::map<int32_t, int32_t> raised_larger = {{5, 1500000}, {7, 1800000},  {8, 2300000},
                                                  {9, 2300000}, {10, 3500000}, {11, 4000000}};

/* Every index that means something, those around them, and far ones. */
constexpr int32_t bitrate_indexes[] = {0, 1,  2,  3,  4,  5,  6,   7,         8,
                                       9, 10, 11, 12, 13, -1, -12, INT32_MAX, INT32_MIN};

int32_t look_up(const std::map<int32_t, int32_t> &table, int32_t index, int32_t otherwise) {
    const auto found = table.find(index);
    return found == table.end() ? otherwise : found->second;
}

class HotConfig : public DaemonTest {
  protected:
    struct Pair {
        int32_t main;
        int32_t sub;
    };

    static std::string text(Pair pt, Pair bps, Pair fps, Pair res) {
        return script::format(
            R"({"id":1,"icon":2,"cch":3,"pt":[%d,%d],"bps":[%d,%d],"fps":[%d,%d],"res":[%d,%d]})", pt.main,
            pt.sub, bps.main, bps.sub, fps.main, fps.sub, res.main, res.sub);
    }

    static int32_t convert(Pair pt, Pair bps, Pair res) {
        return hot_config_str_to_vencconfig(text(pt, bps, {15, 20}, res).c_str());
    }

    static std::string debug_line(int channel, int32_t bps, int32_t res) {
        return script::format(
            "debug: [hot_config_str_to_vencconfig:130] hot_config index[%d] bitrate[%d] resolution[%d]",
            channel, bps, res);
    }

    static void expect_size(int channel, Size size) {
        EXPECT_EQ(venc_config.channel[channel].width, size.width) << channel;
        EXPECT_EQ(venc_config.channel[channel].height, size.height) << channel;
    }
};

// ---- conversion ----

TEST_F(HotConfig, ConvertsBothChannelsInOrder) {
    const std::string profile = text({1, 2}, {0, 11}, {12, 25}, {1, 3});
    EXPECT_EQ(hot_config_str_to_vencconfig(profile.c_str()), 0);
    EXPECT_EQ(script.journal, (Entries{"hot_config_str_to_object(" + profile + ")", debug_line(0, 0, 1),
                                       debug_line(1, 11, 3)}));
    EXPECT_EQ(venc_config.ready, 1);
    EXPECT_EQ(venc_config.channel[0].pt, 1);
    EXPECT_EQ(venc_config.channel[1].pt, 2);
    EXPECT_EQ(venc_config.channel[0].fps, 12);
    EXPECT_EQ(venc_config.channel[1].fps, 25);
    EXPECT_EQ(venc_config.channel[0].bitrate, 256000);
    EXPECT_EQ(venc_config.channel[1].bitrate, 3900000);
    expect_size(0, sizes[1]);
    expect_size(1, sizes[3]);
}

TEST_F(HotConfig, LeavesTheReservedWordAndTheBindStatusAlone) {
    venc_config.channel[0].reserved = 41;
    venc_config.channel[1].reserved = 42;
    venc_config.bind_status = 43;
    convert({0, 0}, {3, 3}, {0, 0});
    EXPECT_EQ(venc_config.channel[0].reserved, 41);
    EXPECT_EQ(venc_config.channel[1].reserved, 42);
    EXPECT_EQ(venc_config.bind_status, 43);
}

TEST_F(HotConfig, IsReadyBeforeItsChannelsAreLookedAt) {
    int ready = -1;
    script.when("debug: [hot_config_str_to_vencconfig:130]", [&] { ready = venc_config.ready; });
    convert({1, 1}, {0, 0}, {0, 0});
    EXPECT_EQ(ready, 1);
}

TEST_F(HotConfig, ATextThatIsNoProfileChangesNothing) {
    std::memset(&venc_config, 0x55, sizeof venc_config);
    const VencConfig before = venc_config;
    for (const int32_t result : {-1, 1}) {
        script.profile_result = result;
        EXPECT_EQ(hot_config_str_to_vencconfig(text_300), -1) << result;
        EXPECT_EQ(std::memcmp(&venc_config, &before, sizeof before), 0);
    }
    EXPECT_EQ(script.count("debug: "), 0U);
    EXPECT_EQ(script.count("err: "), 0U);
}

TEST_F(HotConfig, ATextThatIsNoProfileDoesNotMakeAnEmptyOneReady) {
    EXPECT_EQ(hot_config_str_to_vencconfig("nonsense"), -1);
    EXPECT_EQ(venc_config.ready, 0);
}

TEST_F(HotConfig, EveryBitrateIndexGivesItsBitrateOnBothChannels) {
    for (const int32_t index : bitrate_indexes) {
        convert({1, 1}, {index, 0}, {0, 4});
        EXPECT_EQ(venc_config.channel[0].bitrate, look_up(plain_bitrates, index, other_bitrate)) << index;
        convert({1, 1}, {0, index}, {0, 4});
        EXPECT_EQ(venc_config.channel[1].bitrate, look_up(plain_bitrates, index, other_bitrate)) << index;
    }
}

TEST_F(HotConfig, AnUnknownBitrateIndexIsNotLogged) {
    convert({1, 1}, {12, -1}, {0, 0});
    EXPECT_EQ(script.journal.size(), 3U);
    EXPECT_EQ(script.entries("debug: "), (Entries{debug_line(0, 12, 0), debug_line(1, -1, 0)}));
}

TEST_F(HotConfig, EveryResolutionIndexGivesItsSizeOnBothChannels) {
    for (int32_t index = 0; index < resolution_count; ++index) {
        convert({1, 1}, {0, 0}, {index, resolution_count - 1 - index});
        expect_size(0, sizes[index]);
        expect_size(1, sizes[resolution_count - 1 - index]);
    }
    EXPECT_FALSE(script.has("err: "));
}

TEST_F(HotConfig, AnUnknownResolutionIndexKeepsTheSizeAndLogsIt) {
    convert({1, 1}, {0, 0}, {3, 2});
    for (const int32_t index : {5, 6, -1, INT32_MAX, INT32_MIN}) {
        script.journal.clear();
        EXPECT_EQ(convert({1, 1}, {1, 1}, {index, 2}), 0);
        expect_size(0, {2304, 1296});
        EXPECT_EQ(venc_config.channel[0].bitrate, 384000);
        const Entries lines = journal();
        EXPECT_EQ(Entries(lines.begin() + 1, lines.end()),
                  (Entries{debug_line(0, 1, index),
                           "log: [hot_config_str_to_vencconfig:231] Unkonw resolution [2304:1296] ???",
                           debug_line(1, 1, 2)}));
    }
}

TEST_F(HotConfig, AnUnknownResolutionIndexOfTheSubStreamIsItsOwnMatter) {
    convert({1, 1}, {0, 0}, {3, 2});
    script.journal.clear();
    convert({1, 1}, {0, 0}, {0, 5});
    expect_size(0, {1920, 1080});
    expect_size(1, {640, 360});
    EXPECT_EQ(journal().back(), "log: [hot_config_str_to_vencconfig:231] Unkonw resolution [640:360] ???");
}

TEST_F(HotConfig, AnUnknownResolutionIndexAtTheStartMeansNoSize) {
    EXPECT_EQ(convert({1, 1}, {0, 0}, {5, 2}), 0);
    expect_size(0, {0, 0});
    EXPECT_TRUE(venc_config.ready);
    EXPECT_EQ(journal()[2], "log: [hot_config_str_to_vencconfig:231] Unkonw resolution [0:0] ???");
}

// ---- raised bit rates ----

class HotConfigRaised : public HotConfig, public testing::WithParamInterface<int32_t> {
  protected:
    static int32_t expected(int32_t resolution, int32_t index, int32_t pt) {
        const int32_t plain = look_up(plain_bitrates, index, other_bitrate);
        if (pt != 0) {
            return plain;
        }
        switch (resolution) {
        case 0:
            return look_up(raised_1080, index, plain);
        case 3:
        case 4:
            return look_up(raised_larger, index, plain);
        default:
            return plain;
        }
    }
};

TEST_P(HotConfigRaised, BitratesHoldForEveryIndexOfThisResolution) {
    const int32_t resolution = GetParam();
    for (const int32_t index : bitrate_indexes) {
        for (const int32_t pt : {0, 1, 2, -1}) {
            SCOPED_TRACE(script::format("index %d pt %d", index, pt));
            convert({pt, 1}, {index, 0}, {resolution, 2});
            EXPECT_EQ(venc_config.channel[0].bitrate, expected(resolution, index, pt));
            EXPECT_EQ(venc_config.channel[1].bitrate, 256000);
            convert({1, pt}, {0, index}, {2, resolution});
            EXPECT_EQ(venc_config.channel[1].bitrate, expected(resolution, index, pt));
            EXPECT_EQ(venc_config.channel[0].bitrate, 256000);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Resolutions, HotConfigRaised, testing::Range(0, resolution_count),
                         testing::PrintToStringParamName());

TEST_F(HotConfig, BitratesAreRaisedForTheNewSize) {
    convert({0, 1}, {0, 0}, {2, 2});
    convert({0, 1}, {4, 0}, {0, 2});
    expect_size(0, {1920, 1080});
    EXPECT_EQ(venc_config.channel[0].bitrate, 1300000);
    EXPECT_EQ(venc_config.channel[1].bitrate, 256000);
}

TEST_F(HotConfig, BitratesAreRaisedForTheSizeThatWasKept) {
    convert({1, 1}, {0, 0}, {0, 2});
    convert({0, 1}, {3, 0}, {9, 2});
    EXPECT_EQ(venc_config.channel[0].bitrate, 1500000);
}

TEST_F(HotConfig, IndexSixKeepsItsBitrateInTheLargestSize) {
    convert({0, 0}, {6, 6}, {4, 4});
    EXPECT_EQ(venc_config.channel[0].bitrate, 1200000);
    EXPECT_EQ(venc_config.channel[1].bitrate, 1200000);
}

// ---- the default ----

class DefaultProfile : public HotConfig {
  protected:
    mortox_t *store_ = libmortox_config_open(0);

    DefaultProfile() { script.journal.clear(); }

    int status_of_ensure() {
        return exit_status_of([this] { hot_config_ensure(store_); });
    }
};

TEST_F(DefaultProfile, IsNotNeededWhenOneIsReady) {
    venc_config.ready = 1;
    hot_config_ensure(store_);
    EXPECT_EQ(script.journal, (Entries{"debug: HotConfig ready flag:1"}));
}

struct Sensor {
    const char *name;
    int32_t flag_300;
    const char *text;
    int32_t bps;
    int32_t res;
    VencChannel main;
};

class DefaultProfileOfSensor : public DefaultProfile, public testing::WithParamInterface<Sensor> {};

TEST_P(DefaultProfileOfSensor, IsAppliedAndStored) {
    const Sensor &sensor = GetParam();
    script.flag_300 = sensor.flag_300;
    hot_config_ensure(store_);
    EXPECT_EQ(
        journal(),
        (Entries{"debug: HotConfig ready flag:0", "get_deviceType_by_sensor()",
                 script::format("debug: [main:584] flag_300=[%d]", sensor.flag_300),
                 script::format("hot_config_str_to_object(%s)", sensor.text),
                 debug_line(0, sensor.bps, sensor.res), debug_line(1, 0, 2),
                 script::format("warning: Save default HotConfig:%s", sensor.text),
                 script::format("libmortox_set_value(store, nvram, default, hot_config, 1, %s, 0, 0, -1, 0)",
                                sensor.text)}));
    EXPECT_EQ(venc_config.ready, 1);
    EXPECT_EQ(std::memcmp(&venc_config.channel[0], &sensor.main, sizeof sensor.main), 0);
    const VencChannel sub = {1, 0, 256000, 15, 640, 360};
    EXPECT_EQ(std::memcmp(&venc_config.channel[1], &sub, sizeof sub), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Sensors, DefaultProfileOfSensor,
    testing::Values(Sensor{"Other", 0, text_other, 7, 4, {1, 0, 1400000, 15, 2560, 1440}},
                    Sensor{"Class300", 1, text_300, 5, 3, {1, 0, 1000000, 15, 2304, 1296}},
                    Sensor{"AnyOtherNumber", -7, text_300, 5, 3, {1, 0, 1000000, 15, 2304, 1296}}),
    [](const auto &row) { return std::string(row.param.name); });

TEST_F(DefaultProfile, OfASensorThatDoesNotAnswerEndsTheProcessWithTheStoreOpen) {
    for (const int32_t result : {-1, 1}) {
        script.device_type_result = result;
        script.journal.clear();
        EXPECT_EQ(status_of_ensure(), 1);
        EXPECT_EQ(journal(), (Entries{"debug: HotConfig ready flag:0", "get_deviceType_by_sensor()",
                                      "log: [main:581] Get device type error", "exit(1)"}));
    }
}

TEST_F(DefaultProfile, ThatIsRefusedEndsTheProcessWithTheStoreClosed) {
    script.profile_result = -1;
    EXPECT_EQ(status_of_ensure(), 1);
    EXPECT_EQ(journal(), (Entries{"debug: HotConfig ready flag:0", "get_deviceType_by_sensor()",
                                  "debug: [main:584] flag_300=[0]",
                                  std::string("hot_config_str_to_object(") + text_other + ")",
                                  "libmortox_close(store)", "log: Get hot config fail ...", "exit(1)"}));
}

TEST_F(DefaultProfile, ThatCannotBeStoredEndsTheProcessWithTheStoreClosed) {
    script.set_fails = {"hot_config"};
    EXPECT_EQ(status_of_ensure(), 1);
    const Entries lines = journal();
    ASSERT_GE(lines.size(), 5U);
    EXPECT_EQ(
        Entries(lines.end() - 5, lines.end()),
        (Entries{std::string("warning: Save default HotConfig:") + text_other,
                 std::string("libmortox_set_value(store, nvram, default, hot_config, 1, ") + text_other +
                     ", 0, 0, -1, 0)",
                 "libmortox_close(store)", "log: Save Default HotConfig to nvram fail ...", "exit(1)"}));
}

TEST_F(DefaultProfile, IsTakenWhenTheFlagIsAnythingButOne) {
    venc_config.ready = 2;
    hot_config_ensure(store_);
    EXPECT_EQ(script.journal.front(), "debug: HotConfig ready flag:2");
    EXPECT_TRUE(script.has("libmortox_set_value"));
}

} // namespace
