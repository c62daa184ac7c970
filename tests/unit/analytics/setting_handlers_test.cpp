// What a changed setting does to detection, tracking, and day and night.

#include "analytics/setting_handlers.h"

#include "analytics/track_mailbox.h"
#include "core/ipc_loop.h"
#include "image/ircut.h"
#include "libmortoxev.h"
#include "script/daemon_test.h"
#include "settings/device_status.h"

#include <ev.h>

namespace {

struct Key {
    const char *key;
    const char *handler;
    mortox_callback_t callback;
    const char *label; // of the value, in the log
};

constexpr Key keys[] = {
    {"motion_region", "notify_cb_motion_sensiti", notify_cb_motion_sensiti, "motion_sensiti"},
    {"lsd_threshold", "notify_cb_lsd_threshold", notify_cb_lsd_threshold, "lsd_threshold"},
    {"night_mode", "anyka_notify_cb_ircut_switch", anyka_notify_cb_ircut_switch, "ircut_switch"},
    {"motion_detection_enable", "track_switch_cb", track_switch_cb, "motion_detection_enable"},
    {"algo_sensitivity", "algo_sensitivity_cb", algo_sensitivity_cb, "algo_sensitivity"},
};

class SettingHandlers : public DaemonTest {
  protected:
    SettingHandlers() {
        settings_handle = libmortoxev_config_open(ev_default_loop(0), 0);
        int32_t registration = 0;
        for (const Key &row : keys) {
            libmortox_register_notification(settings_handle, "nvram", "default", row.key, &registration,
                                            row.callback, nullptr, -1, 0);
        }
        script.journal.clear();
    }

    static std::string key_line(const Key &row) {
        return script::format("info: Notify: nvram:default:%s", row.key);
    }
    static std::string value_line(const Key &row, const char *value) {
        return script::format("log: %s(),[%s=%s]\n", row.handler, row.label, value);
    }

    /* What a change does beyond the lines that every handler writes. */
    Entries effect(const char *key, const char *value) {
        script.journal.clear();
        script::notify(key, value);
        Entries result = journal();
        EXPECT_GE(result.size(), 2U);
        result.erase(result.begin(),
                     result.begin() + static_cast<ptrdiff_t>(std::min<size_t>(2, result.size())));
        return result;
    }

    static Entries mailbox_attached() { return {"shmget(0x1122, 60, 01666)", "shmat(0, null, 0)"}; }
    static Entries mailbox_stays() {
        return {"info: algo_shm_fini\n", "err: motor_rotate_task_thread has not running\n"};
    }
    static std::string failure(int result, int flag) {
        return script::format("log: ret = %d, track_switch=%d, enable or disable track switch failed!",
                              result, flag);
    }
};

// ---- the frame, which is the same for all ----

class SettingHandlersFrame : public SettingHandlers, public testing::WithParamInterface<Key> {
  protected:
    const Key &row_ = GetParam();
    void TearDown() override { EXPECT_EQ(script::unfreed(), 0); }
};

TEST_P(SettingHandlersFrame, LogsWhatDoesNotParseAndDoesNothingElse) {
    device_status.motion_detection_enable = 1;
    for (const int32_t status : {-1, -5, 1}) {
        script.journal.clear();
        script::notify_broken(row_.key, status);
        EXPECT_EQ(journal(),
                  (Entries{script::format("log: %s(),Parse recv notify value error.\n", row_.handler)}))
            << status;
    }
    EXPECT_EQ(device_status.motion_detection_enable, 1);
}

TEST_P(SettingHandlersFrame, NamesTheKeyAndStopsWhenThereIsNoValue) {
    device_status.motion_detection_enable = 1;
    script::notify(row_.key, nullptr);
    EXPECT_EQ(journal(), (Entries{key_line(row_)}));
    EXPECT_EQ(device_status.motion_detection_enable, 1);
}

TEST_P(SettingHandlersFrame, NamesTheKeyThenTheValueThenActs) {
    script::notify(row_.key, "12 text");
    ASSERT_GE(script.journal.size(), 2U);
    EXPECT_EQ(journal()[0], key_line(row_));
    EXPECT_EQ(journal()[1], value_line(row_, "12 text"));
}

TEST_P(SettingHandlersFrame, TakesAnEmptyValueForOne) {
    script::notify(row_.key, "");
    ASSERT_GE(script.journal.size(), 2U);
    EXPECT_EQ(journal()[1], value_line(row_, ""));
}

TEST_P(SettingHandlersFrame, TakesAMissedChangeLikeAnyOther) {
    script::notify(row_.key, "7", XRESPONSE_RESYNC);
    ASSERT_GE(script.journal.size(), 2U);
    EXPECT_EQ(journal()[1], value_line(row_, "7"));
}

INSTANTIATE_TEST_SUITE_P(Keys, SettingHandlersFrame, testing::ValuesIn(keys),
                         [](const auto &row) { return std::string(row.param.key); });

// ---- motion_region and lsd_threshold ----

struct Number {
    const char *key;
    const char *call;
    const char *behind_number;
};

class SettingHandlersNumber : public SettingHandlers, public testing::WithParamInterface<Number> {
  protected:
    Entries call(int number) const {
        return {script::format("%s(%d%s)", GetParam().call, number, GetParam().behind_number)};
    }
};

TEST_P(SettingHandlersNumber, GoesToTheBoardAsItIs) {
    const std::pair<const char *, int> values[] = {
        {"3", 3}, {"0", 0},  {"-4", -4}, {"100", 100}, {"abc", 0},
        {"", 0},  {"7x", 7}, {" 8", 8},  {"0x10", 0},  {"2147483647", 2147483647}};
    for (const auto &[text, number] : values) {
        EXPECT_EQ(effect(GetParam().key, text), call(number)) << text;
    }
}

TEST_P(SettingHandlersNumber, GoesToTheBoardEachTime) {
    EXPECT_EQ(effect(GetParam().key, "3"), call(3));
    EXPECT_EQ(effect(GetParam().key, "3"), call(3));
}

TEST_P(SettingHandlersNumber, IsLoggedAndLostWhileTheProfileIsApplied) {
    device_status.reload_boardav = 1;
    EXPECT_EQ(effect(GetParam().key, "3"), Entries{});
    device_status.reload_boardav = 0;
    EXPECT_FALSE(script.has(GetParam().call)) << "dropped, not deferred";
}

TEST_P(SettingHandlersNumber, IsLostOnlyWithAOneInTheFlag) {
    device_status.reload_boardav = 2;
    EXPECT_EQ(effect(GetParam().key, "3"), call(3));
}

TEST_P(SettingHandlersNumber, DoesNotMindABoardThatFails) {
    script.results = {{GetParam().call, -1}};
    EXPECT_EQ(effect(GetParam().key, "3"), call(3));
}

INSTANTIATE_TEST_SUITE_P(Keys, SettingHandlersNumber,
                         testing::Values(Number{"motion_region", "set_md_sense", ", 4"},
                                         Number{"lsd_threshold", "set_lsd_threshold", ""}),
                         [](const auto &row) { return std::string(row.param.key); });

// ---- night_mode ----

TEST_F(SettingHandlers, NightModeIsStoredBeforeTheControllerIsInited) {
    const std::pair<const char *, int> values[] = {{"2", 2}, {"1", 1},   {"0", 0},
                                                   {"9", 9}, {"-1", -1}, {"night", 0}};
    for (const auto &[text, mode] : values) {
        EXPECT_EQ(effect("night_mode", text),
                  (Entries{script::format(
                      "info: [ircut_mode_switch] ircut not inited, set variable: ircut_mode :%d \n", mode)}));
        EXPECT_EQ(ircut_controller.ircut_mode, mode);
    }
}

TEST_F(SettingHandlers, NightModeIsSwitchedAlsoWhileTheProfileIsApplied) {
    device_status.reload_boardav = 1;
    ircut_controller.inited = 1;
    EXPECT_EQ(effect("night_mode", "1"),
              (Entries{"info: [ircut_mode_switch]switch to ircut mode day \n",
                       "info: set_ircut_day_mode():set_ircut_day_mode", "oru_api_light_disable(1)",
                       "oru_api_ircut_switch(1)", "set_isp_dnmode(0)"}));
}

// ---- motion_detection_enable ----

TEST_F(SettingHandlers, TrackingOnStartsItAndThenItsMailbox) {
    EXPECT_EQ(effect("motion_detection_enable", "on"), joined({{"track_init()"}, mailbox_attached()}));
    EXPECT_EQ(device_status.motion_detection_enable, 1);
}

TEST_F(SettingHandlers, TrackingOnTwiceStartsItOnce) {
    effect("motion_detection_enable", "on");
    EXPECT_EQ(effect("motion_detection_enable", "on"), Entries{});
    EXPECT_EQ(device_status.motion_detection_enable, 1);
}

TEST_F(SettingHandlers, TrackingIsOnOnlyWithAOneInTheFlagAndOffOnlyWithAZero) {
    device_status.motion_detection_enable = 2;
    EXPECT_EQ(effect("motion_detection_enable", "on"), joined({{"track_init()"}, mailbox_attached()}));
    EXPECT_EQ(device_status.motion_detection_enable, 1);
    device_status.motion_detection_enable = 2;
    EXPECT_EQ(effect("motion_detection_enable", "off"),
              joined({{"track_deinit()"}, mailbox_stays(), {failure(-1, 0)}}));
    EXPECT_EQ(device_status.motion_detection_enable, 0);
}

TEST_F(SettingHandlers, TrackingOffEndsItThenTheMailboxWhichAlwaysFails) {
    for (const char *value : {"off", "", "ON", "on ", " on", "onn", "o", "1", "true"}) {
        device_status.motion_detection_enable = 1;
        EXPECT_EQ(effect("motion_detection_enable", value),
                  joined({{"track_deinit()"}, mailbox_stays(), {failure(-1, 0)}}))
            << value;
        EXPECT_EQ(device_status.motion_detection_enable, 0);
    }
}

TEST_F(SettingHandlers, TrackingOffWhileItIsOffCallsNothing) {
    EXPECT_EQ(effect("motion_detection_enable", "off"), Entries{});
    EXPECT_EQ(effect("motion_detection_enable", "other"), Entries{});
    EXPECT_EQ(device_status.motion_detection_enable, 0);
}

TEST_F(SettingHandlers, TrackingThatDoesNotStartIsLoggedAndStaysEnabled) {
    script.results = {{"track_init", 5}};
    EXPECT_EQ(effect("motion_detection_enable", "on"),
              joined({{"track_init()"}, mailbox_attached(), {failure(5, 1)}}));
    EXPECT_EQ(device_status.motion_detection_enable, 1);
    EXPECT_EQ(effect("motion_detection_enable", "on"), Entries{}) << "not tried again";
}

TEST_F(SettingHandlers, TrackingWhoseMailboxIsActiveAlreadyIsLogged) {
    track_shm_active = 1;
    EXPECT_EQ(effect("motion_detection_enable", "on"),
              (Entries{"track_init()", "err: motor_rotate_task_thread already running\n", failure(-1, 1)}));
}

TEST_F(SettingHandlers, TrackingThatDoesNotEndIsLoggedWithBothResultsTogether) {
    track_shm_active = 1; // so that the mailbox ends well
    device_status.motion_detection_enable = 1;
    script.results = {{"track_deinit", 6}};
    EXPECT_EQ(effect("motion_detection_enable", "off").back(), failure(6, 0));
    EXPECT_EQ(device_status.motion_detection_enable, 0);
    device_status.motion_detection_enable = 1;
    EXPECT_EQ(effect("motion_detection_enable", "off").back(), failure(6 | -1, 0));
}

TEST_F(SettingHandlers, TrackingThatEndsWellIsNotLogged) {
    track_shm_active = 1;
    device_status.motion_detection_enable = 1;
    EXPECT_EQ(effect("motion_detection_enable", "off").back(), "info: shmdt success\n");
}

TEST_F(SettingHandlers, TrackingIsFlaggedBeforeTheLibraryIsTold) {
    int on = -1;
    int off = -1;
    script.when("track_init", [&] { on = device_status.motion_detection_enable; });
    script.when("track_deinit", [&] { off = device_status.motion_detection_enable; });
    script::notify("motion_detection_enable", "on");
    script::notify("motion_detection_enable", "off");
    EXPECT_EQ(on, 1);
    EXPECT_EQ(off, 0);
}

TEST_F(SettingHandlers, TrackingOnAndOffAndOnAttachesTheMailboxTwice) {
    for (const char *value : {"on", "off", "on"}) {
        script::notify("motion_detection_enable", value);
    }
    EXPECT_EQ(script.count("shmat("), 2U);
    EXPECT_FALSE(script.has("shmdt("));
}

TEST_F(SettingHandlers, TrackingIsSwitchedAlsoWhileTheProfileIsApplied) {
    device_status.reload_boardav = 1;
    EXPECT_EQ(effect("motion_detection_enable", "on"), joined({{"track_init()"}, mailbox_attached()}));
}

// ---- algo_sensitivity ----

TEST_F(SettingHandlers, SensitivityIsOneForLowestAlone) {
    EXPECT_EQ(effect("algo_sensitivity", "lowest"), (Entries{"oru_api_algo_set_param(0, 1, 4)"}));
    for (const char *value : {"low", "Lowest", "lowest ", "lowestt", "", "high", "1"}) {
        EXPECT_EQ(effect("algo_sensitivity", value), (Entries{"oru_api_algo_set_param(0, 0, 4)"})) << value;
    }
}

TEST_F(SettingHandlers, SensitivityIsSetEachTimeWhateverTheLibrarySays) {
    script.results = {{"oru_api_algo_set_param", -1}};
    device_status.reload_boardav = 1;
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(effect("algo_sensitivity", "lowest"), (Entries{"oru_api_algo_set_param(0, 1, 4)"}));
    }
}

// ---- what no handler touches ----

TEST_F(SettingHandlers, NoneTouchesAFlagThatIsNotItsOwn) {
    for (const Key &row : keys) {
        script::notify(row.key, "on");
    }
    EXPECT_EQ(device_status.running, 1);
    EXPECT_EQ(device_status.bind_status, 0);
    EXPECT_EQ(device_status.power, 1);
    EXPECT_EQ(device_status.watermark, 1);
    EXPECT_EQ(device_status.wdr, 0);
    EXPECT_EQ(device_status.flip, 0);
    EXPECT_EQ(device_status.region_code, 3);
    EXPECT_EQ(device_status.flicker_hz, 50);
    EXPECT_EQ(device_status.reload_boardav, 0);
    EXPECT_EQ(device_status.hdr_switch, 0);
    EXPECT_EQ(device_status.motion_detection_enable, 1);
}

} // namespace
