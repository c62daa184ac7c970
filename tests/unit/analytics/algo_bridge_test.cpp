// The analytics library: how it is started and ended, and where its detections go.

#include "analytics/algo_bridge.h"

#include "analytics/track_mailbox.h"
#include "media/channels.h"
#include "script/daemon_test.h"
#include "settings/device_status.h"

#include <cstring>

namespace {

class AlgoBridge : public DaemonTest {
  protected:
    AlgoBridge() {
        shbf_server_int(event_channel_motion);
        shbf_server_int(event_channel_sound);
        script.journal.clear();
    }

    static int32_t send(const char *text) {
        return oru_algo_trigger_event_send(text, static_cast<int32_t>(std::strlen(text)));
    }

    /* The broadcast of this text, with its NUL. */
    static std::string broadcast(const std::string &path, const std::string &text) {
        return script::format("shbfev_brd_broadcast_message(%s, %zu, ", path.c_str(), text.size() + 1) +
               text + std::string(1, '\0') + ")";
    }

    static Entries mailbox_attached() { return {"shmget(0x1122, 60, 01666)", "shmat(0, null, 0)"}; }
    static constexpr char init_failed[] = "err: oru_algo_init failed!\n";
};

// ---- start ----

TEST_F(AlgoBridge, StartsTheLibraryWithTheTwoCallbacks) {
    EXPECT_EQ(oru_algo_init(), 0);
    EXPECT_EQ(script.journal, (Entries{"oru_api_algo_init()"}));
    EXPECT_EQ(script.on_event, oru_algo_trigger_event_send);
    EXPECT_EQ(script.on_track, track_result_cb);
}

TEST_F(AlgoBridge, WithTrackingEnabledStartsItAndItsMailbox) {
    device_status.motion_detection_enable = 1;
    EXPECT_EQ(oru_algo_init(), 0);
    EXPECT_EQ(script.journal, joined({{"oru_api_algo_init()", "track_init()"}, mailbox_attached()}));
}

TEST_F(AlgoBridge, AnythingButZeroInTheFlagEnablesTracking) {
    device_status.motion_detection_enable = 2;
    EXPECT_EQ(oru_algo_init(), 0);
    EXPECT_EQ(script.journal, joined({{"oru_api_algo_init()", "track_init()"}, mailbox_attached()}));
    EXPECT_EQ(device_status.motion_detection_enable, 2);
}

TEST_F(AlgoBridge, StartsTrackingThoughTheLibraryHasFailed) {
    device_status.motion_detection_enable = 1;
    script.results = {{"oru_api_algo_init", -1}};
    EXPECT_EQ(oru_algo_init(), -1);
    EXPECT_EQ(script.journal,
              joined({{"oru_api_algo_init()", "track_init()"}, mailbox_attached(), {init_failed}}));
}

TEST_F(AlgoBridge, AttachesTheMailboxThoughTrackingHasFailed) {
    device_status.motion_detection_enable = 1;
    script.results = {{"track_init", 6}};
    EXPECT_EQ(oru_algo_init(), 6);
    EXPECT_EQ(script.journal,
              joined({{"oru_api_algo_init()", "track_init()"}, mailbox_attached(), {init_failed}}));
}

TEST_F(AlgoBridge, FailsToStartWhenOnlyTheMailboxDoes) {
    device_status.motion_detection_enable = 1;
    track_shm_active = 1;
    EXPECT_EQ(oru_algo_init(), -1);
    EXPECT_EQ(script.journal, (Entries{"oru_api_algo_init()", "track_init()",
                                       "err: motor_rotate_task_thread already running\n", init_failed}));
}

TEST_F(AlgoBridge, GivesTheResultsOfItsStartTogether) {
    device_status.motion_detection_enable = 1;
    script.results = {{"oru_api_algo_init", 1}, {"track_init", 2}};
    EXPECT_EQ(oru_algo_init(), 3);
}

TEST_F(AlgoBridge, WithoutTrackingFailsWithTheLibraryAlone) {
    script.results = {{"oru_api_algo_init", 4}};
    EXPECT_EQ(oru_algo_init(), 4);
    EXPECT_EQ(script.journal, (Entries{"oru_api_algo_init()", init_failed}));
}

// ---- end ----

TEST_F(AlgoBridge, EndsTheLibraryThenTheMailboxWhichAlwaysFails) {
    EXPECT_EQ(oru_algo_finish(), -1);
    EXPECT_EQ(script.journal,
              (Entries{"oru_api_algo_deinit()", "info: algo_shm_fini\n",
                       "err: motor_rotate_task_thread has not running\n", "err: oru_algo_finish failed!\n"}));
}

TEST_F(AlgoBridge, EndsTheMailboxThoughTheLibraryHasFailed) {
    script.results = {{"oru_api_algo_deinit", 8}};
    track_shm_active = 1; // so that only the library fails
    device_status.motion_detection_enable = 1;
    EXPECT_EQ(oru_algo_finish(), 8);
    EXPECT_EQ(script.journal.front(), "oru_api_algo_deinit()");
    EXPECT_TRUE(script.has("info: shmdt success\n"));
    EXPECT_EQ(script.journal.back(), "err: oru_algo_finish failed!\n");
}

TEST_F(AlgoBridge, EndsWithoutComplaintWhenBothSucceed) {
    track_shm_active = 1;
    EXPECT_EQ(oru_algo_finish(), 0);
    EXPECT_FALSE(script.has("err: "));
}

// ---- detections ----

TEST_F(AlgoBridge, AnAbnormalSoundGoesToTheSoundChannelWithItsNul) {
    for (const char *text : {"AbnormalSound", "AbnormalSound,81", "AbnormalSounds", "AbnormalSound "}) {
        script.journal.clear();
        EXPECT_EQ(send(text), 1) << text;
        EXPECT_EQ(script.journal, (Entries{broadcast("/run/lsd_event", text)}));
    }
}

TEST_F(AlgoBridge, EveryOtherTextGoesToTheMotionChannelWithItsNul) {
    for (const char *text : {"Motion", "Abnormal", "AbnormalSoun", "abnormalsound", "AbnormalsoundX",
                             " AbnormalSound", "AbnormalSounD", "XAbnormalSound", ""}) {
        script.journal.clear();
        EXPECT_EQ(send(text), 1) << text;
        EXPECT_EQ(script.journal, (Entries{broadcast("/run/md_event", text)}));
    }
}

TEST_F(AlgoBridge, ATextIsAsLongAsTheLibrarySays) {
    EXPECT_EQ(oru_algo_trigger_event_send("Motion,12", 6), 1);
    EXPECT_EQ(script.journal, (Entries{"shbfev_brd_broadcast_message(/run/md_event, 7, Motion,)"}));
}

TEST_F(AlgoBridge, NoTextAtAllIsLoggedAndNotSent) {
    EXPECT_EQ(oru_algo_trigger_event_send(nullptr, 5), 1) << "what log_err gives";
    EXPECT_EQ(script.journal, (Entries{"err: [oru_algo_trigger_event_send 46] error,msg is null \n"}));
}

TEST_F(AlgoBridge, ABroadcastThatFailsIsLoggedWithItsTextAndNotRepeated) {
    for (const int32_t result : {-1, -22}) {
        script.journal.clear();
        script.broadcast_message = [=] { return result; };
        EXPECT_EQ(send("Motion"), 1) << "what log_err gives";
        EXPECT_EQ(script.journal,
                  (Entries{broadcast("/run/md_event", "Motion"), "err: broadcast [Motion] failed!\n"}));
    }
}

TEST_F(AlgoBridge, ABroadcastThatReachesNobodyHasNotFailed) {
    script.broadcast_message = [] { return 0; };
    EXPECT_EQ(send("Motion"), 0);
    EXPECT_FALSE(script.has("err: "));
}

TEST_F(AlgoBridge, GivesTheBroadcastsResult) {
    script.broadcast_message = [] { return 17; };
    EXPECT_EQ(send("AbnormalSound"), 17);
}

TEST_F(AlgoBridge, ADetectionBeforeThereAreChannelsIsNotTakenForAFailedBroadcast) {
    shbf_mde[event_channel_motion].broadcaster = nullptr;
    EXPECT_EQ(send("Motion"), 0);
    EXPECT_EQ(script.journal.size(), 1U);
    EXPECT_TRUE(script.has("err: [shbf_event_broadcast]shbf_mde "));
}

} // namespace
