// Start-up and shutdown: main, from the first signal to the last join.

#include "control/play_audio.h"
#include "core/ipc_loop.h"
#include "core/signals.h"
#include "image/ircut.h"
#include "media/audio_stream.h"
#include "media/osd.h"
#include "media/video_stream.h"
#include "script/daemon_test.h"
#include "settings/device_status.h"
#include "settings/hot_config.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ev.h>

namespace {

constexpr char profile_text[] =
    R"({"id":0,"icon":0,"cch":0,"pt":[1,0],"bps":[5,0],"fps":[15,20],"res":[3,2]})";
constexpr char profile_to_board[] = "control_venc_dynamically(ready 1 bind 1 "
                                    "[pt 1 reserved 0 bitrate 1000000 fps 15 2304x1296] "
                                    "[pt 0 reserved 0 bitrate 256000 fps 20 640x360])";

class Main : public DaemonTest {
  protected:
    Main() {
        for (const char *key : {"power", "watermark", "flip", "wdr", "regioncode", "flicker", "hdr_switch",
                                "motion_detection_enable"}) {
            script.store[std::string("nvram:default:") + key] = "-"; // means nothing
        }
        script.store["nvram:default:bind_status"] = "ok";
        script.store["nvram:default:hot_config"] = profile_text;
    }

    int run() { return strell_main(0, nullptr); }

    /* The journal without how the settings were read, which is a matter of its own. */
    Entries steps() const {
        return journal_without({"libmortox_get_value", "hot_config_str", "debug: [hot"});
    }

    /* What every start has in common, up to the board. */
    static Entries up_to_board() {
        return {"signal(2, handler)",
                "signal(9, handler)",
                "signal(15, handler)",
                "signal(11, handler)",
                "signal(13, SIG_IGN)",
                "libmortox_config_open(0)",
                "debug: HotConfig ready flag:1",
                "libmortox_close(store)",
                "log: device status is {1,1,1,0,0}\n",
                profile_to_board,
                "board_system_init(1)"};
    }

    // ---- pieces of what follows ----

    static Entries up_to_video() {
        return {"info: main(),637\n",
                "pthread_create(1, default)",
                "usleep(10000)",
                "pthread_create(2, default)",
                "info: start_video_thread(), ret is 0\n",
                "pthread_create(3, default)",
                "info: start_video_thread(), ret is 0\n"};
    }
    static Entries audio_up() {
        return {"pthread_create(4, default)", "log: start_audio_thread(), ret is 0\n",
                "pthread_create(5, default)", "log: start_audio_thread(), ret is 0\n"};
    }
    static Entries audio_joined() {
        return {"pthread_join(4)", "debug: main(), 686\n", "pthread_join(5)", "debug: main(), 688\n"};
    }
    static Entries video_joined() {
        return {"pthread_join(2)", "debug: main(), 691\n", "pthread_join(3)", "debug: main(), 693\n"};
    }
    static Entries end() { return joined({{"pthread_join(1)", "debug: main(), 696\n"}, tail()}); }
    /* What comes last, where analytics and the infrared-cut controller have never begun. */
    static Entries tail() {
        return joined({board_and_analytics_end(), {"info: [oru_ircut_exit] already exit\n"}});
    }
    static Entries board_and_analytics_end() {
        return {"board_system_exit()",
                "oru_api_algo_deinit()",
                "info: algo_shm_fini\n",
                "err: motor_rotate_task_thread has not running\n",
                "err: oru_algo_finish failed!\n",
                "info: oru_ircut_exit enter\n"};
    }
    /* Analytics, then the infrared-cut controller. */
    static Entries analytics_and_ircut_up() {
        return {"oru_api_algo_init()",      "info: set_ircut_day_mode():set_ircut_day_mode",
                "oru_api_light_disable(1)", "oru_api_ircut_switch(1)",
                "set_isp_dnmode(0)",        "pthread_create(7, default)"};
    }

    int running_at_first_join() {
        int result = -1;
        script.when("pthread_join", [&] { result = device_status.running; });
        run();
        return result;
    }
};

TEST_F(Main, BringsEverythingUpInOrderAndWaits) {
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(steps(), joined({up_to_board(),
                               up_to_video(),
                               audio_up(),
                               {"pthread_create(6, default)", "log: start_osd_thread(), ret is 0\n"},
                               analytics_and_ircut_up(),
                               {"info: video_tid is =[2, 3]\n", "info: audio_tid is =[4,5]\n",
                                "info: ipc_tid is =[1]\n", "info: osd_tid is =[6]\n", "pthread_join(6)",
                                "debug: main(), 683\n"},
                               audio_joined(),
                               video_joined(),
                               {"pthread_join(1)", "debug: main(), 696\n"},
                               board_and_analytics_end(),
                               {"pthread_join(7)", "oru_api_light_disable(1)"}}));
}

TEST_F(Main, StartsEachThreadWithItsOwnBody) {
    run();
    ASSERT_EQ(script.threads.size(), 7U);
    EXPECT_EQ(script.threads[0].body, ipc_thread);
    for (int channel = 0; channel < 2; ++channel) {
        const script::Thread &thread = script.threads[static_cast<size_t>(channel) + 1];
        EXPECT_EQ(thread.body, video_stream_thread);
        EXPECT_EQ(*static_cast<int32_t *>(thread.argument), channel);
    }
    EXPECT_EQ(script.threads[3].body, fetch_aduio_thread);
    EXPECT_EQ(script.threads[4].body, play_audio);
    EXPECT_EQ(script.threads[5].body, osd_thread);
    EXPECT_EQ(script.threads[6].body, ircut_main_pthread);
    for (const size_t other : {0U, 3U, 4U, 5U, 6U}) {
        EXPECT_EQ(script.threads[other].argument, nullptr) << other;
    }
}

TEST_F(Main, ForgetsAnyEarlierProfileBeforeItReadsTheSettings) {
    std::memset(&venc_config, 0x55, sizeof venc_config);
    bool zeroed = false;
    script.when("libmortox_config_open", [&] {
        const VencConfig zero{};
        zeroed = std::memcmp(&venc_config, &zero, sizeof zero) == 0;
    });
    run();
    EXPECT_TRUE(zeroed);
}

TEST_F(Main, PassesTheBindStatusToTheBoard) {
    script.store.erase("nvram:default:bind_status");
    run();
    EXPECT_TRUE(script.has("board_system_init(0)"));
}

TEST_F(Main, DoesNotMindAProfileThatTheBoardRefuses) {
    script.control_venc_result = -1;
    EXPECT_EQ(run(), 0);
    EXPECT_TRUE(script.has("board_system_init(1)"));
}

TEST_F(Main, TakesAPositiveAnswerOfTheBoardForSuccess) {
    script.board_system_init_result = 3;
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(script.threads.size(), 7U);
}

TEST_F(Main, LeavesSignalsThatAreNotItsOwnAndTheSignalMaskAlone) {
    struct sigaction before[NSIG] = {};
    sigset_t mask_before;
    for (int number = 1; number < NSIG; ++number) {
        sigaction(number, nullptr, &before[number]);
    }
    pthread_sigmask(SIG_SETMASK, nullptr, &mask_before);
    run();
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction after = {};
        sigaction(number, nullptr, &after);
        EXPECT_EQ(after.sa_handler, before[number].sa_handler) << number;
    }
    sigset_t mask_after;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask_after);
    for (int number = 1; number < NSIG; ++number) {
        EXPECT_EQ(sigismember(&mask_after, number), sigismember(&mask_before, number)) << number;
    }
}

TEST_F(Main, EndsFromTheSignalHandlerWithoutJoiningAndWithoutItsTail) {
    script.when("pthread_join", [] { sighandler(SIGTERM); });
    EXPECT_EQ(exit_status_of([this] { run(); }), -1);
    EXPECT_EQ(script.entries("info: ---"), (Entries{"info: ---sighandler:last -1, new 15---\n"}));
    EXPECT_EQ(script.count("debug: main()"), 0U);
    EXPECT_EQ(script.count("board_system_exit"), 1U);
    EXPECT_EQ(script.journal.back(), "exit(-1)");
}

TEST_F(Main, DoesNotMindAnalyticsAndAnInfraredCutFilterThatFail) {
    script.store["nvram:default:motion_detection_enable"] = "on";
    script.results = {{"oru_api_algo_init", -1}, {"track_init", -1}, {"oru_api_ircut_switch", -1}};
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(script.count("err: oru_algo_init failed!\n"), 1U);
    EXPECT_EQ(script.count("err: oru_ircut_init(): init fail\n"), 1U);
    EXPECT_TRUE(script.has("info: osd_tid is =[6]\n"));
    EXPECT_TRUE(script.has("pthread_join(6)"));
}

TEST_F(Main, WithTrackingEnabledInTheStoreStartsItWithAnalytics) {
    script.store["nvram:default:motion_detection_enable"] = "on";
    run();
    EXPECT_LT(script.position("oru_api_algo_init()"), script.position("track_init()"));
    EXPECT_LT(script.position("track_init()"), script.position("shmget(0x1122, 60, 01666)"));
    EXPECT_LT(script.position("shmat("), script.position("info: set_ircut_day_mode"));
}

TEST_F(Main, DoesNotTakeTheResultsOfTheTailForItsOwn) {
    script.results = {{"oru_api_algo_deinit", -1}, {"oru_api_light_disable", -1}};
    EXPECT_EQ(run(), 0);
}

// ---- start-up steps that fail ----

TEST_F(Main, BoardThatDoesNotComeUpStartsNothing) {
    script.board_system_init_result = -3;
    EXPECT_EQ(run(), -3);
    EXPECT_EQ(steps(), joined({up_to_board(), tail()}));
}

TEST_F(Main, ControlThreadThatIsNotCreatedEndsTheStart) {
    script.pthread_create_results = {{1, -7}};
    EXPECT_EQ(run(), -7);
    EXPECT_EQ(steps(), joined({up_to_board(),
                               {"info: main(),637\n", "pthread_create(1, default)",
                                "err: Rpc Thread create fail, ret=[-7]\n"},
                               tail()}));
    EXPECT_EQ(device_status.running, 1);
}

TEST_F(Main, TakesAPositiveResultForTheControlThreadForSuccessButJoinsNoThreadThatIsNone) {
    script.pthread_create_results = {{1, EAGAIN}};
    EXPECT_EQ(run(), 0);
    EXPECT_FALSE(script.has("err: Rpc Thread"));
    EXPECT_TRUE(script.has("usleep(10000)"));
    EXPECT_TRUE(script.has("pthread_join(2)"));
    EXPECT_TRUE(script.has("pthread_join(3)"));
    EXPECT_FALSE(script.has("pthread_join(1)"));
}

TEST_F(Main, FirstVideoThreadThatIsNotCreatedJoinsOnlyTheControlThread) {
    script.pthread_create_results = {{2, EAGAIN}};
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(steps(), joined({up_to_board(),
                               {"info: main(),637\n", "pthread_create(1, default)", "usleep(10000)",
                                "pthread_create(2, default)", "info: start_video_thread(), ret is 11\n",
                                "err: Create Chn0 video_stream_thread error\n", "pthread_join(1)",
                                "debug: main(), 696\n"},
                               tail()}));
}

TEST_F(Main, SecondVideoThreadThatIsNotCreatedJoinsOnlyTheControlThread) {
    script.pthread_create_results = {{3, -1}};
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(steps(), joined({up_to_board(),
                               {"info: main(),637\n", "pthread_create(1, default)", "usleep(10000)",
                                "pthread_create(2, default)", "info: start_video_thread(), ret is 0\n",
                                "pthread_create(3, default)", "info: start_video_thread(), ret is -1\n",
                                "err: Create Chn1 video_stream_thread error\n", "pthread_join(1)",
                                "debug: main(), 696\n"},
                               tail()}));
}

TEST_F(Main, VideoThreadThatIsNotCreatedEndsTheWorkersBeforeTheJoin) {
    script.pthread_create_results = {{3, EAGAIN}};
    EXPECT_EQ(running_at_first_join(), 0);
}

TEST_F(Main, CaptureThreadThatIsNotCreatedJoinsVideoAndTheControlThread) {
    script.pthread_create_results = {{4, EAGAIN}};
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(steps(), joined({up_to_board(),
                               up_to_video(),
                               {"pthread_create(4, default)", "log: start_audio_thread(), ret is 11\n",
                                "err: Create get_audio_stream error\n"},
                               video_joined(),
                               end()}));
}

TEST_F(Main, PlaybackThreadThatIsNotCreatedJoinsVideoAndTheControlThread) {
    script.pthread_create_results = {{5, -1}};
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(steps(), joined({up_to_board(),
                               up_to_video(),
                               {"pthread_create(4, default)", "log: start_audio_thread(), ret is 0\n",
                                "pthread_create(5, default)", "log: start_audio_thread(), ret is -1\n",
                                "err: Create get_audio_stream error\n"},
                               video_joined(),
                               end()}));
}

TEST_F(Main, AudioThreadThatIsNotCreatedEndsTheWorkersBeforeTheJoin) {
    script.pthread_create_results = {{5, EAGAIN}};
    EXPECT_EQ(running_at_first_join(), 0);
}

TEST_F(Main, OverlayThreadThatIsNotCreatedJoinsAudioVideoAndTheControlThread) {
    script.pthread_create_results = {{6, EAGAIN}};
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(steps(), joined({up_to_board(),
                               up_to_video(),
                               audio_up(),
                               {"pthread_create(6, default)", "log: start_osd_thread(), ret is 11\n",
                                "err: start_osd_thread(),create error\n"},
                               audio_joined(),
                               video_joined(),
                               end()}));
}

TEST_F(Main, WithoutTheOverlayThreadStartsNeitherAnalyticsNorTheInfraredCutController) {
    script.pthread_create_results = {{6, EAGAIN}};
    run();
    EXPECT_FALSE(script.has("oru_api_algo_init"));
    EXPECT_FALSE(script.has("oru_api_ircut_switch"));
}

TEST_F(Main, OverlayThreadThatIsNotCreatedLeavesTheWorkersRunning) {
    script.pthread_create_results = {{6, EAGAIN}};
    EXPECT_EQ(running_at_first_join(), 1);
    EXPECT_EQ(device_status.running, 1);
}

TEST_F(Main, WithoutAFailureTheWorkersAreLeftToRun) {
    run();
    EXPECT_EQ(device_status.running, 1);
}

TEST_F(Main, StoreThatDoesNotOpenEndsTheProcessBeforeTheBoardIsTouched) {
    script.store_opens = false;
    EXPECT_EQ(exit_status_of([this] { run(); }), 1);
    EXPECT_EQ(journal_without({"signal("}),
              (Entries{"libmortox_config_open(0)", "log: libmortox_open faild.\n", "exit(1)"}));
}

TEST_F(Main, WithoutAStoredProfileStartsWithTheDefaultOfItsSensor) {
    script.store.erase("nvram:default:hot_config");
    EXPECT_EQ(run(), 0);
    EXPECT_TRUE(script.has(
        "control_venc_dynamically(ready 1 bind 1 [pt 1 reserved 0 bitrate 1400000 fps 15 2560x1440] "
        "[pt 1 reserved 0 bitrate 256000 fps 15 640x360])"));
    EXPECT_TRUE(script.has("board_system_init(1)"));
}

struct LostDefault {
    const char *name;
    void (*lose)(script::Script &script);
    const char *message;
};

class MainWithoutDefault : public Main, public testing::WithParamInterface<LostDefault> {};

TEST_P(MainWithoutDefault, EndsWithTheStoreClosedOnceAndTheBoardUntouched) {
    script.store.erase("nvram:default:hot_config");
    GetParam().lose(script);
    EXPECT_EQ(exit_status_of([this] { run(); }), 1);
    EXPECT_EQ(script.count(GetParam().message), 1U);
    EXPECT_EQ(script.count("libmortox_close"), 1U);
    EXPECT_EQ(script.count("control_venc_dynamically"), 0U);
    EXPECT_EQ(script.count("board_system_"), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    Because, MainWithoutDefault,
    testing::Values(LostDefault{"ItIsRefused", [](script::Script &script) { script.profile_result = -1; },
                                "err: Get hot config fail ..."},
                    LostDefault{"ItCannotBeStored",
                                [](script::Script &script) { script.set_fails = {"hot_config"}; },
                                "err: Save Default HotConfig to nvram fail ..."}),
    [](const auto &row) { return std::string(row.param.name); });

TEST_F(Main, WithoutAnyProfileTheProcessEndsBeforeTheBoardIsTouched) {
    script.store.erase("nvram:default:hot_config");
    script.device_type_result = -1;
    EXPECT_EQ(exit_status_of([this] { run(); }), 1);
    EXPECT_EQ(script.count("control_venc_dynamically"), 0U);
    EXPECT_EQ(script.count("board_system_"), 0U);
    EXPECT_EQ(script.journal.back(), "exit(1)");
}

} // namespace
