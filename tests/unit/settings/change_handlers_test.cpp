// What a changed setting does: the frame that the handlers share, and the two steps of a new encoder profile.

#include "change_handlers_fixture.h"

#include <cstring>

namespace {

constexpr char profile_text[] =
    R"({"id":0,"icon":0,"cch":0,"pt":[1,0],"bps":[0,1],"fps":[15,20],"res":[1,2]})";
constexpr char profile_to_board[] = "control_venc_dynamically(ready 1 bind 0 "
                                    "[pt 1 reserved 0 bitrate 256000 fps 15 1280x720] "
                                    "[pt 0 reserved 0 bitrate 384000 fps 20 640x360])";
constexpr char empty_profile_to_board[] = "control_venc_dynamically(ready 0 bind 0 "
                                          "[pt 0 reserved 0 bitrate 0 fps 0 0x0] "
                                          "[pt 0 reserved 0 bitrate 0 fps 0 0x0])";
constexpr char write_back[] =
    "libmortox_set_value(store on loop, mem, default, hot_status, 1, changed, 0, 0, -1, 0)";
constexpr char will_set[] = "debug: XXXXXX, Func:hot_status_cb, will set reload_boardav=ture";

std::string type_line(int32_t type) {
    return script::format("debug: XXXXXX, Func:hot_status_cb, x->type:%d", type);
}

std::vector<std::string> reload(const char *profile) {
    return {will_set, "usleep(100000)", profile, write_back};
}

// ---- the frame of the ordinary handlers ----

class OrdinaryHandler : public ChangeHandlers, public testing::WithParamInterface<OrdinaryKey> {};

TEST_P(OrdinaryHandler, LogsWhatDoesNotParseAndDoesNothingElse) {
    for (const int32_t status : {-1, -5, 1}) {
        script.journal.clear();
        script::notify_broken(GetParam().key, status);
        EXPECT_EQ(script.journal,
                  (Entries{script::format("err: %s(),Parse recv notify value error.\n", GetParam().handler)}))
            << status;
    }
}

TEST_P(OrdinaryHandler, TakesSilenceAboutTheStatusForAFailure) {
    script.parse_says_nothing = true;
    script::notify(GetParam().key, "on");
    EXPECT_EQ(script.journal,
              (Entries{script::format("err: %s(),Parse recv notify value error.\n", GetParam().handler)}));
}

// What a response of another type carries is not the daemon's: freeing it is misuse.
TEST_P(OrdinaryHandler, FreesNothingOfWhatDoesNotParse) {
    for (const int32_t type : {9, 12}) {
        script.journal.clear();
        script::notify(GetParam().key, "on", type, -1);
        EXPECT_EQ(script.journal.size(), 1U) << type;
    }
}

TEST_P(OrdinaryHandler, NamesTheKeyAndStopsWhenThereIsNoValue) {
    script::notify(GetParam().key, nullptr);
    EXPECT_EQ(script.journal, (Entries{script::format("info: Notify: nvram:default:%s", GetParam().key)}));
}

TEST_P(OrdinaryHandler, NamesTheKeyThenTheValue) {
    script::notify(GetParam().key, "some text");
    ASSERT_GE(script.journal.size(), 2U);
    EXPECT_EQ(script.journal[0], script::format("info: Notify: nvram:default:%s", GetParam().key));
    EXPECT_EQ(script.journal[1],
              script::format("info: %s(),[some text]%s\n", GetParam().handler, GetParam().behind_value));
}

TEST_P(OrdinaryHandler, TakesAMissedChangeLikeAnyOther) {
    script::notify(GetParam().key, "some text", XRESPONSE_RESYNC);
    EXPECT_TRUE(script.has(script::format("info: %s(),[some text]", GetParam().handler)));
}

INSTANTIATE_TEST_SUITE_P(Keys, OrdinaryHandler, testing::ValuesIn(ordinary_keys),
                         [](const auto &row) { return std::string(row.param.key); });

// ---- hot_config ----

TEST_F(ChangeHandlers, HotConfigChangesTheProfileOnlyHere) {
    script::notify("hot_config", profile_text);
    const std::string converting = "debug: [hot_config_str_to_vencconfig:130] hot_config index";
    EXPECT_EQ(script.journal, (Entries{"info: Notify: nvram:default:hot_config",
                                       std::string("info: hot_config_cb(),[") + profile_text + "]\n",
                                       std::string("hot_config_str_to_object(") + profile_text + ")",
                                       converting + "[0] bitrate[0] resolution[1]",
                                       converting + "[1] bitrate[1] resolution[2]"}));
    EXPECT_EQ(venc_config.ready, 1);
    EXPECT_EQ(venc_config.channel[0].width, 1280);
    EXPECT_EQ(device_status.reload_boardav, 0);
}

TEST_F(ChangeHandlers, HotConfigThatIsNoneIsIgnored) {
    std::memset(&venc_config, 0x55, sizeof venc_config);
    const VencConfig before = venc_config;
    script::notify("hot_config", "nonsense");
    EXPECT_EQ(script.journal.back(), "hot_config_str_to_object(nonsense)");
    EXPECT_EQ(std::memcmp(&venc_config, &before, sizeof before), 0);
}

TEST_F(ChangeHandlers, HotConfigThatDoesNotParseLeavesTheProfileAlone) {
    std::memset(&venc_config, 0x55, sizeof venc_config);
    const VencConfig before = venc_config;
    script::notify_broken("hot_config");
    EXPECT_EQ(std::memcmp(&venc_config, &before, sizeof before), 0);
}

// ---- hot_status ----

TEST_F(ChangeHandlers, HotStatusChangingHandsTheProfileToTheBoardInOrder) {
    script::notify("hot_status", "changing");
    EXPECT_EQ(script.journal, joined({{type_line(11)}, reload(empty_profile_to_board)}));
}

TEST_F(ChangeHandlers, HotStatusKeepsTheProducersAtRestUntilTheAnswerIsWritten) {
    std::vector<int> flags;
    for (const char *step : {"debug: XXXXXX, Func:hot_status_cb, x->type", will_set, "usleep(100000)",
                             "control_venc_dynamically", "libmortox_set_value"}) {
        script.when(step, [&] { flags.push_back(device_status.reload_boardav); });
    }
    script::notify("hot_status", "changing");
    EXPECT_EQ(flags, (std::vector<int>{0, 0, 1, 1, 1}));
    EXPECT_EQ(device_status.reload_boardav, 0);
}

TEST_F(ChangeHandlers, HotStatusDoesNotMindABoardOrAStoreThatFails) {
    script.control_venc_result = -1;
    script.set_fails = {"hot_status"};
    script::notify("hot_status", "changing");
    EXPECT_EQ(script.journal, joined({{type_line(11)}, reload(empty_profile_to_board)}));
    EXPECT_EQ(device_status.reload_boardav, 0);
}

TEST_F(ChangeHandlers, HotStatusActsEveryTime) {
    script::notify("hot_status", "changing");
    script::notify("hot_status", "changing");
    EXPECT_EQ(script.journal, joined({{type_line(11)},
                                      reload(empty_profile_to_board),
                                      {type_line(11)},
                                      reload(empty_profile_to_board)}));
}

TEST_F(ChangeHandlers, HotStatusIgnoresEveryOtherText) {
    for (const char *text :
         {"changed", "Changing", "CHANGING", "changing ", " changing", "chang", "", "on"}) {
        script.journal.clear();
        script::notify("hot_status", text);
        EXPECT_EQ(script.journal, (Entries{type_line(11)})) << text;
    }
}

TEST_F(ChangeHandlers, HotStatusIgnoresAKeyWithoutAValue) {
    for (const int32_t type : {XRESPONSE_DATA, XRESPONSE_RESYNC, XRESPONSE_NOTIFY}) {
        script.journal.clear();
        script::notify("hot_status", nullptr, type);
        EXPECT_EQ(script.journal, (Entries{type_line(type)}));
    }
}

TEST_F(ChangeHandlers, HotStatusIgnoresAValueThatIsNoText) {
    script.value_type = 2;
    for (const int32_t type : {XRESPONSE_DATA, XRESPONSE_RESYNC, XRESPONSE_NOTIFY}) {
        script.journal.clear();
        script::notify("hot_status", "changing", type);
        EXPECT_EQ(script.journal, (Entries{type_line(type)}));
    }
}

class HotStatusOfType : public ChangeHandlers, public testing::WithParamInterface<int32_t> {
  protected:
    static bool carries_a_value() { return GetParam() == 4 || GetParam() == 6 || GetParam() == 11; }
};

TEST_P(HotStatusOfType, IsReadWhereItsTypeSays) {
    script::notify("hot_status", "changing", GetParam());
    EXPECT_EQ(script.journal, joined({{type_line(GetParam())},
                                      carries_a_value() ? reload(empty_profile_to_board) : Entries{}}));
}

TEST_P(HotStatusOfType, IsReadWithAnyStatusThatIsNotNegative) {
    for (const int32_t status : {1, 77}) {
        script.journal.clear();
        script::notify("hot_status", "changing", GetParam(), status);
        EXPECT_EQ(script.journal.size(), carries_a_value() ? 5U : 1U) << status;
    }
}

TEST_P(HotStatusOfType, IsFreedButNotReadWithANegativeStatus) {
    for (const int32_t status : {-1, -77}) {
        script::notify("hot_status", "changing", GetParam(), status);
        EXPECT_EQ(script.journal, Entries{}) << status;
        EXPECT_EQ(device_status.reload_boardav, 0);
    }
}

INSTANTIATE_TEST_SUITE_P(Types, HotStatusOfType, testing::Range(0, 13), testing::PrintToStringParamName());

TEST_F(ChangeHandlers, HotStatusThatDoesNotParseIsNotLogged) {
    script::notify_broken("hot_status", -1);
    EXPECT_EQ(script.journal, Entries{});
}

TEST_F(ChangeHandlers, HotStatusTakesSilenceAboutTheStatusForAFailure) {
    script.parse_says_nothing = true;
    script::notify("hot_status", "changing");
    EXPECT_EQ(script.journal, Entries{});
}

// Freeing nothing is misuse: not every store's library takes it.
TEST_F(ChangeHandlers, HotStatusWithoutAResultFreesNothing) {
    for (const int32_t type : {XRESPONSE_DATA, XRESPONSE_RESYNC, XRESPONSE_NOTIFY}) {
        for (const int32_t status : {-1, 0, 1}) {
            script.journal.clear();
            script::notify_broken("hot_status", status, type);
            EXPECT_EQ(script.journal, status < 0 ? Entries{} : Entries{type_line(type)}) << type;
        }
    }
}

// ---- both together ----

TEST_F(ChangeHandlers, ANewProfileReachesTheBoardInTwoSteps) {
    script::notify("hot_config", profile_text);
    EXPECT_FALSE(script.has("control_venc_dynamically"));
    script.journal.clear();
    script::notify("hot_status", "changing");
    EXPECT_EQ(script.journal, joined({{type_line(11)}, reload(profile_to_board)}));
}

TEST_F(ChangeHandlers, TheAnswerOnItsWayBackDoesNothing) {
    script::notify("hot_config", profile_text);
    script::notify("hot_status", "changing");
    script.journal.clear();
    script::notify("hot_status", script.store["mem:default:hot_status"].c_str());
    EXPECT_EQ(script.journal, (Entries{type_line(11)}));
}

} // namespace
