// The control event loop: what is set up before it runs, what stops it, what is torn down behind it.

#include "core/ipc_loop.h"

#include "analytics/setting_handlers.h"
#include "control/ipc_server.h"
#include "media/channels.h"
#include "script/daemon_test.h"
#include "settings/change_handlers.h"
#include "settings/device_status.h"

#include <ev.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr const char *media_paths[] = {"/run/video_mainstream", "/run/video_substream",
                                       "/run/video_rawstream",  "/run/jpeg_snap",
                                       "/run/audio_in",         "/run/audio_play"};

/* The watches, in order. */
struct WatchRow {
    const char *name_space;
    const char *key;
    mortox_callback_t callback;
    const char *message; // when it cannot be registered
};

constexpr WatchRow watch_rows[] = {
    {"nvram", "bind_status", bind_status_cb, "err: register bind_status faild.\n"},
    {"nvram", "power", power_status_cb, "err: register power faild.\n"},
    {"nvram", "watermark", watermark_status_cb, "err: register watermark faild.\n"},
    {"nvram", "wdr", wdr_status_cb, "err: register wdr faild.\n"},
    {"nvram", "flip", flip_status_cb, "err: register flip faild.\n"},
    {"nvram", "regioncode", regioncode_cb, "err: register regioncode faild.\n"},
    {"nvram", "flicker", flicker_status_cb, "err: register flicker faild.\n"},
    {"nvram", "hot_config", hot_config_cb, "err: register hot_config faild.\n"},
    {"mem", "hot_status", hot_status_cb, "err: register hot_status faild.\n"},
    {"nvram", "motion_region", notify_cb_motion_sensiti, "err: register motion_region faild.\n"},
    {"nvram", "lsd_threshold", notify_cb_lsd_threshold, "err: register regioncode faild.\n"},
    {"nvram", "night_mode", anyka_notify_cb_ircut_switch, "err: register night_mode faild.\n"},
    {"nvram", "motion_detection_enable", track_switch_cb, "err: register motion_detection_enable faild.\n"},
    {"nvram", "algo_sensitivity", algo_sensitivity_cb, "err: register algo_sensitivity faild.\n"},
};

class IpcLoop : public DaemonTest {
  protected:
    IpcLoop() {
        // A loop that nothing stops would never let the test end. Not counted as a reason to go on.
        ev_timer_init(&watchdog_, on_watchdog, 20., 0.);
        ev_timer_start(ev_default_loop(0), &watchdog_);
        ev_unref(ev_default_loop(0));
    }

    /* Runs `action` inside the loop, once it turns. The loop does not stay for it. */
    void inside_loop(std::function<void()> action, double after_s = 0) {
        action_ = std::move(action);
        ev_timer_init(&timer_, on_timer, after_s, 0.);
        timer_.data = this;
        script.when("info: start mainloop", [this] {
            ev_timer_start(ev_default_loop(0), &timer_);
            ev_unref(ev_default_loop(0));
        });
    }

    /* Runs the thread's body until it ends by itself. */
    static void run() { EXPECT_EQ(ipc_thread(nullptr), nullptr); }

    static void run_and_stop() {
        script::current().when("info: start mainloop", stop_ipc_loop);
        run();
    }

    // ---- pieces of the journal ----

    static Entries set_up() {
        return {"prctl(PR_SET_NAME, av_rpc)", "libmortoxev_config_open(default loop, 0)"};
    }
    static Entries registrations() {
        Entries result;
        for (const WatchRow &row : watch_rows) {
            result.push_back(
                script::format("libmortox_register_notification(store on loop, %s, default, %s, 0, -1, 0)",
                               row.name_space, row.key));
        }
        return result;
    }
    static Entries socket_opened() {
        return {"socket(1, 1, 0)", "bind(listener, 110)", "listen(listener, 5)"};
    }
    static std::string running() {
        return script::format("info: start mainloop,ev_backend is %u\n", ev_backend(ev_default_loop(0)));
    }
    static Entries tear_down(size_t created) {
        Entries result;
        for (size_t i = 0; i < created; ++i) {
            result.push_back(script::format("shbfev_brd_destroy(%s)", media_paths[i]));
        }
        return joined({result,
                       {"libmortoxev_close(default loop, store on loop)", "ev_loop_destroy(default loop)",
                        "close(listener)"}});
    }
    static Entries created_media(size_t count) {
        Entries result;
        for (size_t i = 0; i < count; ++i) {
            result.push_back(script::format("shbfev_brd_create(%s)", media_paths[i]));
        }
        return result;
    }

  private:
    static void on_watchdog(struct ev_loop *loop, ev_timer * /*timer*/, int /*events*/) {
        ADD_FAILURE() << "nothing has stopped the loop";
        ev_break(loop, EVBREAK_ALL);
    }
    static void on_timer(struct ev_loop *loop, ev_timer *timer, int /*events*/) {
        ev_ref(loop);
        static_cast<IpcLoop *>(timer->data)->action_();
    }

    ev_timer watchdog_;
    ev_timer timer_;
    std::function<void()> action_;
};

// ---- from beginning to end ----

TEST_F(IpcLoop, SetsUpRunsAndTearsDownInOrder) {
    const std::string start = running();
    run_and_stop();
    EXPECT_EQ(journal_without({"shbfev_brd_event", "shbfev_brd_start"}),
              joined({set_up(),
                      registrations(),
                      socket_opened(),
                      created_media(6),
                      {"shbfev_brd_create(/run/md_event)", "shbfev_brd_create(/run/lsd_event)", start,
                       "ev_async_send(default loop)", "ev_break(default loop, EVBREAK_ALL)",
                       "ev_run(default loop, 0)", "ev_async_send(default loop)",
                       "ev_break(default loop, EVBREAK_ALL)", "info: ipc_thread(),2542\n"},
                      tear_down(6)}));
}

TEST_F(IpcLoop, StartsEveryChannelOnTheDefaultLoopAsSoonAsItIsMade) {
    run_and_stop();
    Entries made;
    for (const std::string path :
         {"/run/video_mainstream", "/run/video_substream", "/run/video_rawstream", "/run/jpeg_snap",
          "/run/audio_in", "/run/audio_play", "/run/md_event", "/run/lsd_event"}) {
        made.push_back("shbfev_brd_create(" + path + ")");
        made.push_back("shbfev_brd_start(default loop, " + path + ")");
    }
    Entries found;
    for (const std::string &entry : script.entries("shbfev_brd_")) {
        if (entry.rfind("shbfev_brd_event", 0) != 0 && entry.rfind("shbfev_brd_destroy", 0) != 0) {
            found.push_back(entry);
        }
    }
    EXPECT_EQ(found, made);
}

TEST_F(IpcLoop, NeverCreatesNorDestroysTheMotorEventChannel) {
    run_and_stop();
    EXPECT_EQ(shbf_mde[1].broadcaster.load(), nullptr);
    EXPECT_EQ(script::channel("/run/motor_event"), nullptr);
}

TEST_F(IpcLoop, LeavesTheEventChannelsAsTheyAre) {
    run_and_stop();
    EXPECT_FALSE(script::channel("/run/md_event")->destroyed);
    EXPECT_FALSE(script::channel("/run/lsd_event")->destroyed);
    EXPECT_NE(shbf_mde[0].broadcaster.load(), nullptr);
    EXPECT_NE(shbf_mde[2].broadcaster.load(), nullptr);
}

TEST_F(IpcLoop, LeavesTheHandlesOfDestroyedChannelsInTheTableWithoutReceivers) {
    script.when("info: start mainloop", [] {
        for (MediaChannel &channel : media_channels) {
            channel.receivers = 2;
        }
    });
    run_and_stop();
    for (const MediaChannel &channel : media_channels) {
        EXPECT_NE(channel.broadcaster.load(), nullptr) << channel.index;
        EXPECT_EQ(channel.receivers, 0) << channel.index;
    }
}

TEST_F(IpcLoop, GoesOnWhenItCannotBeNamed) {
    script.prctl_result = -1;
    run_and_stop();
    EXPECT_EQ(script.journal[1], "warning: prctl setname failed\n");
    EXPECT_EQ(script.journal[2], "libmortoxev_config_open(default loop, 0)");
    EXPECT_TRUE(script.has("info: start mainloop"));
}

TEST_F(IpcLoop, TakesAnyOtherResultThanZeroForAFailureToBeNamed) {
    script.prctl_result = 1;
    run_and_stop();
    EXPECT_EQ(script.count("warning: prctl setname failed\n"), 1U);
}

TEST_F(IpcLoop, SaysNothingOfItsNameWhenAllIsWell) {
    run_and_stop();
    EXPECT_FALSE(script.has("warning: "));
    EXPECT_FALSE(script.has("err: "));
}

// ---- settings watches ----

TEST_F(IpcLoop, KeepsTheConnectionToTheStoreForTheHandlers) {
    mortox_t *at_registration = nullptr;
    script.when("libmortox_register_notification", [&] { at_registration = settings_handle; });
    run_and_stop();
    EXPECT_NE(at_registration, nullptr);
}

TEST_F(IpcLoop, WatchesEachSettingWithItsOwnHandler) {
    run_and_stop();
    ASSERT_EQ(script.watches.size(), std::size(watch_rows));
    for (size_t i = 0; i < std::size(watch_rows); ++i) {
        EXPECT_EQ(script.watches[i].key, watch_rows[i].key);
        EXPECT_EQ(script.watches[i].callback, watch_rows[i].callback) << watch_rows[i].key;
    }
}

TEST_F(IpcLoop, HandsTheSameRegistrationNumberToEveryWatch) {
    run_and_stop();
    ASSERT_FALSE(script.watches.empty());
    EXPECT_EQ(script.watches.front().registration_before, -1);
    for (const script::Watch &watch : script.watches) {
        EXPECT_EQ(watch.registration, script.watches.front().registration) << watch.key;
    }
}

class IpcLoopLostWatch : public IpcLoop, public testing::WithParamInterface<WatchRow> {};

TEST_P(IpcLoopLostWatch, IsLoggedAndTheOthersAreRegisteredAllTheSame) {
    script.watch_fails = {GetParam().key};
    run_and_stop();
    EXPECT_EQ(script.entries("err: "), (Entries{GetParam().message}));
    EXPECT_EQ(script.entries("libmortox_register"), registrations());
    EXPECT_EQ(script.watches.size(), registrations().size() - 1);
    EXPECT_TRUE(script.has("info: start mainloop"));
}

INSTANTIATE_TEST_SUITE_P(Keys, IpcLoopLostWatch, testing::ValuesIn(watch_rows),
                         [](const auto &row) { return std::string(row.param.key); });

TEST_F(IpcLoop, StoreWithoutTheMemNamespaceCostsOnlyTheWatchInIt) {
    script.namespaces = {"nvram"};
    run_and_stop();
    EXPECT_EQ(script.entries("err: "), (Entries{"err: register hot_status faild.\n"}));
    EXPECT_EQ(script.watches.size(), registrations().size() - 1);
    EXPECT_TRUE(script.has("info: start mainloop"));
}

TEST_F(IpcLoop, DoesNotLookWhetherTheStoreIsThere) {
    script.store_on_loop_opens = false;
    Entries messages;
    for (const WatchRow &row : watch_rows) {
        script.watch_fails.emplace_back(row.key);
        messages.emplace_back(row.message);
    }
    run_and_stop();
    EXPECT_EQ(script.entries("err: "), messages);
    EXPECT_TRUE(script.has("info: start mainloop"));
    EXPECT_TRUE(script.has("libmortoxev_close(default loop, null)"));
}

// ---- the command socket ----

TEST_F(IpcLoop, WithoutTheCommandSocketEndsWithNothingTornDown) {
    script.bind_result = -1;
    run();
    EXPECT_EQ(script.journal,
              joined({set_up(),
                      registrations(),
                      {"socket(1, 1, 0)", "bind(listener, 110)", "err: bind ipc server error\n"}}));
    EXPECT_EQ(media_channels[0].broadcaster.load(), nullptr);
    EXPECT_NE(settings_handle, nullptr);
}

TEST_F(IpcLoop, StoppedWithoutTheCommandSocketDoesNoHarm) {
    script.socket_result = -1;
    run();
    stop_ipc_loop();
    EXPECT_FALSE(script.has("info: "));
}

TEST_F(IpcLoop, ServesTheCommandSocket) {
    script.av_cmd_parse = [](int32_t fd, const std::string &bytes, av_cmd_handler_t handler) {
        alignas(4) const uint8_t payload[AV_CMD_PAYLOAD_READABLE] = {};
        handler(fd, payload, 0x1005);
        return static_cast<int32_t>(bytes.size());
    };
    int client = -1;
    inside_loop([&] {
        client = script::connect();
        EXPECT_EQ(write(client, "command", 7), 7);
    });
    script.when("send_av_cmd_ack", [&] { script::disconnect(client); });
    script.when("warning: peer", stop_ipc_loop);
    run();
    EXPECT_EQ(script.count("info: client "), 1U);
    EXPECT_EQ(script.count("start_md()"), 1U);
    EXPECT_EQ(script.count("send_av_cmd_ack("), 1U);
    EXPECT_EQ(ipc_client_count, 0);
}

TEST_F(IpcLoop, CreatesNoChannelBeforeTheCommandSocketIsOpen) {
    run_and_stop();
    EXPECT_LT(script.position("listen("), script.position("shbfev_brd_create"));
}

// ---- channels that cannot be created ----

class IpcLoopLostMediaChannel : public IpcLoop, public testing::WithParamInterface<size_t> {};

TEST_P(IpcLoopLostMediaChannel, EndsTheThreadAndDestroysThoseBeforeIt) {
    const size_t lost = GetParam();
    script.start_results = {{media_paths[lost], -98}};
    run();
    EXPECT_EQ(journal_without({"shbfev_brd_event", "shbfev_brd_start"}),
              joined({set_up(),
                      registrations(),
                      socket_opened(),
                      created_media(lost + 1),
                      {script::format("err: shbf %zu start error -98\n", lost),
                       script::format("err: shbf_init(%zu) fail -1, quit.\n", lost)},
                      tear_down(lost)}));
}

TEST_P(IpcLoopLostMediaChannel, IsTheSameWhenNotEvenAHandleCameOfIt) {
    const size_t lost = GetParam();
    script.create_fails = {media_paths[lost]};
    run();
    EXPECT_EQ(script.entries("shbfev_brd_destroy").size(), lost);
    EXPECT_TRUE(script.has(script::format("err: shbf_init(%zu) fail -1, quit.\n", lost)));
    EXPECT_FALSE(script.has("info: "));
}

INSTANTIATE_TEST_SUITE_P(Index, IpcLoopLostMediaChannel, testing::Range(size_t{0}, size_t{6}),
                         testing::PrintToStringParamName());

struct LostEventChannel {
    const char *path;
    const char *message;
    std::vector<std::string> created;
};

class IpcLoopLostEventChannel : public IpcLoop, public testing::WithParamInterface<LostEventChannel> {};

TEST_P(IpcLoopLostEventChannel, EndsTheThreadAndDestroysAllMediaChannels) {
    script.start_results = {{GetParam().path, -13}};
    run();
    EXPECT_EQ(journal_without({"shbfev_brd_event", "shbfev_brd_start"}),
              joined({set_up(),
                      registrations(),
                      socket_opened(),
                      created_media(6),
                      GetParam().created,
                      {GetParam().message, "err: shbf_server_int md fail -1, quit.\n"},
                      tear_down(6)}));
}

INSTANTIATE_TEST_SUITE_P(Channels, IpcLoopLostEventChannel,
                         testing::Values(LostEventChannel{"/run/md_event",
                                                          "err: shbf 0 start error -13\n",
                                                          {"shbfev_brd_create(/run/md_event)"}},
                                         LostEventChannel{"/run/lsd_event",
                                                          "err: shbf 2 start error -13\n",
                                                          {"shbfev_brd_create(/run/md_event)",
                                                           "shbfev_brd_create(/run/lsd_event)"}}),
                         [](const auto &row) { return std::string(row.param.path).substr(5); });

TEST_F(IpcLoop, TakesAPositiveStartResultForSuccess) {
    script.start_results = {{"/run/video_mainstream", 5}, {"/run/md_event", 7}, {"/run/lsd_event", 9}};
    run_and_stop();
    EXPECT_FALSE(script.has("err: "));
    EXPECT_TRUE(script.has("info: start mainloop"));
}

// ---- what stops the loop ----

TEST_F(IpcLoop, RunsUntilItIsStopped) {
    bool stopped = false;
    inside_loop(
        [&] {
            stopped = true;
            stop_ipc_loop();
        },
        0.02);
    run();
    EXPECT_TRUE(stopped);
}

TEST_F(IpcLoop, IsStoppedByAnyOtherThread) {
    std::thread other;
    inside_loop([&] { other = std::thread(stop_ipc_loop); });
    run();
    other.join(); // which may still have been in stop_ipc_loop while the loop was torn down
    EXPECT_EQ(script.count("info: ipc_thread(),2542\n"), 1U);
}

TEST_F(IpcLoop, IsStoppedByTheWakeUpAloneWhenTheBreakCameTooEarly) {
    inside_loop([] { FAIL() << "the loop went on"; }, 10.);
    run_and_stop(); // stops between the log line and ev_run, which forgets earlier breaks
    EXPECT_EQ(script.count("info: ipc_thread(),2542\n"), 1U);
}

TEST_F(IpcLoop, StoppedWhileItCreatesItsChannelsEndsAsSoonAsItRuns) {
    inside_loop([] { FAIL() << "the loop went on"; }, 10.);
    script.when("shbfev_brd_create(/run/video_mainstream)", stop_ipc_loop);
    run();
    EXPECT_TRUE(script.has("info: start mainloop"));
    EXPECT_EQ(script.count("info: ipc_thread(),2542\n"), 1U);
}

TEST_F(IpcLoop, DoesNotLookAtTheRunFlag) {
    device_status.running = 0;
    bool went_on = false;
    inside_loop(
        [&] {
            went_on = true;
            stop_ipc_loop();
        },
        0.02);
    run();
    EXPECT_TRUE(went_on);
}

TEST_F(IpcLoop, StoppedAtAllLevelsDoesNotGoOn) {
    inside_loop([] {
        stop_ipc_loop();
        ev_run(ev_default_loop(0), 0); // another level
    });
    run();
    EXPECT_EQ(script.count("info: ipc_thread(),2542\n"), 1U);
}

TEST_F(IpcLoop, StoppingItWhereThereIsNoneMakesNone) {
    ev_loop_destroy(ev_default_loop(0));
    stop_ipc_loop();
    EXPECT_EQ(ev_default_loop_uc_(), nullptr);
    run_and_stop();
    const Entries before = script.journal;
    stop_ipc_loop();
    EXPECT_EQ(ev_default_loop_uc_(), nullptr) << "the thread has destroyed it";
    EXPECT_EQ(script.journal, before);
}

class IpcLoopServerClosed : public IpcLoop, public testing::WithParamInterface<size_t> {};

TEST_P(IpcLoopServerClosed, OnOneMediaChannelEndsThemAll) {
    inside_loop([] {
        const auto [callback, user] = script::channel(media_paths[GetParam()])->events.at(1);
        EXPECT_EQ(reinterpret_cast<shbfev_server_callback>(callback)(user), 0);
    });
    run();
    const Entries after_start(script.journal.begin() +
                                  static_cast<ptrdiff_t>(script.position("ev_run(default loop, 0)")) + 1,
                              script.journal.end());
    EXPECT_EQ(after_start,
              joined({{"ev_break(default loop, EVBREAK_ALL)",
                       script::format("info: Server %zu Closed\n", GetParam()), "info: ipc_thread(),2542\n"},
                      tear_down(6)}));
}

INSTANTIATE_TEST_SUITE_P(Index, IpcLoopServerClosed, testing::Range(size_t{0}, size_t{6}),
                         testing::PrintToStringParamName());

// ---- destroy_shbf_servers ----

class DestroyShbfServers : public DaemonTest {
  protected:
    DestroyShbfServers() {
        for (int32_t index = 0; index < 6; ++index) {
            shbf_init(index);
            media_channels[index].receivers = index + 1;
        }
        script.journal.clear();
    }
};

TEST_F(DestroyShbfServers, DestroysTheFirstOnesAndForgetsTheirReceivers) {
    destroy_shbf_servers(4);
    EXPECT_EQ(
        script.journal,
        (Entries{"shbfev_brd_destroy(/run/video_mainstream)", "shbfev_brd_destroy(/run/video_substream)",
                 "shbfev_brd_destroy(/run/video_rawstream)", "shbfev_brd_destroy(/run/jpeg_snap)"}));
    for (int32_t index = 0; index < 6; ++index) {
        EXPECT_EQ(media_channels[index].receivers, index < 4 ? 0 : index + 1) << index;
        EXPECT_NE(media_channels[index].broadcaster.load(), nullptr) << index;
    }
}

TEST_F(DestroyShbfServers, OfNoneDoesNothing) {
    destroy_shbf_servers(0);
    EXPECT_EQ(script.journal, Entries{});
    EXPECT_EQ(media_channels[0].receivers, 1);
}

} // namespace
