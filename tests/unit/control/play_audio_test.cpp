// The playback thread over virtual time: what it plays, and when speaker and echo cancellation are on. The
// thread's body runs on the test's thread; what happens while it waits is what a test says.

#include "control/play_audio.h"

#include "control/message_queue.h"
#include "image/isp_dnmode.h"
#include "script/daemon_test.h"
#include "settings/device_status.h"

#include <cerrno>
#include <csignal>

namespace {

class PlayAudio : public DaemonTest {
  protected:
    using Step = std::function<void()>;

    static int32_t send(const std::string &bytes) {
        return evt_rcvr_message_play(nullptr, 7, bytes.data(), static_cast<int32_t>(bytes.size()));
    }

    /* Runs the thread's body: each step while it waits once more; behind the last the run flag is cleared. */
    void run(const std::vector<Step> &steps) {
        device_status.running = 1;
        for (size_t i = 0; i < steps.size(); ++i) {
            script.when("pthread_cond_wait", steps[i], i + 1);
        }
        script.when(
            "pthread_cond_wait", [] { device_status.running = 0; }, steps.size());
        EXPECT_EQ(play_audio(nullptr), nullptr);
    }

    static Entries beginning() { return {"signal(14, handler)", "prctl(PR_SET_NAME, play_audio)"}; }
    static Entries switched_on() { return {"enable_speaker()", "enable_aec()", "info: ###enable_aec###\n"}; }
    static Entries switched_off() {
        return {"info: ###disable_aec###\n", "disable_aec()", "disable_speaker()"};
    }
    static Entries waited() { return {"pthread_cond_wait()"}; }
    static Entries played(const Entries &sounds) {
        Entries result = {"alarm(0)"};
        for (const std::string &sound : sounds) {
            result.push_back("play_sound(" + sound + ")");
        }
        result.emplace_back("alarm(5)");
        return result;
    }
};

constexpr auto nothing = [] {};

TEST_F(PlayAudio, NamesItselfAndWaits) {
    run({nothing});
    EXPECT_EQ(script.journal, joined({beginning(), waited()}));
    EXPECT_EQ(script.signal_handlers.at(SIGALRM), aec_off_on_alarm);
}

TEST_F(PlayAudio, DoesNotWaitWhenItHasNotToRun) {
    device_status.running = 0;
    play_audio(nullptr);
    EXPECT_EQ(script.journal, beginning());
}

TEST_F(PlayAudio, SwitchesOnPlaysAndGoesQuietFiveSecondsLater) {
    run({[] { send("one"); }, [] { script::pass(5000000); }});
    EXPECT_EQ(script.journal,
              joined({beginning(), waited(), switched_on(), played({"one"}), waited(), switched_off()}));
    EXPECT_EQ(aec_on, 0);
}

TEST_F(PlayAudio, StaysOnBeforeTheFiveSecondsAreOver) {
    run({[] { send("one"); }, [] { script::pass(4999999); }});
    EXPECT_EQ(script.journal, joined({beginning(), waited(), switched_on(), played({"one"}), waited()}));
    EXPECT_EQ(aec_on, 1);
}

TEST_F(PlayAudio, StaysOnAsLongAsSoundKeepsComing) {
    const Step next = [] {
        script::pass(4000000);
        send("more");
    };
    run({[] { send("one"); }, next, next, [] { script::pass(4000000); }});
    EXPECT_EQ(script.journal, joined({beginning(), waited(), switched_on(), played({"one"}), waited(),
                                      played({"more"}), waited(), played({"more"}), waited()}));
}

TEST_F(PlayAudio, SwitchesOnAgainAfterItWentQuiet) {
    run({[] { send("one"); },
         [] {
             script::pass(6000000);
             send("two");
         },
         nothing});
    EXPECT_EQ(script.journal, joined({beginning(), waited(), switched_on(), played({"one"}), waited(),
                                      switched_off(), switched_on(), played({"two"}), waited()}));
}

TEST_F(PlayAudio, PlaysAllThatWaitsInOrder) {
    run({[] {
             send("one");
             send("two");
             send("three");
         },
         nothing});
    EXPECT_EQ(script.journal,
              joined({beginning(), waited(), switched_on(), played({"one", "two", "three"}), waited()}));
}

TEST_F(PlayAudio, PlaysWhatComesWhileItPlays) {
    script.when("play_sound(one)", [] { send("two"); });
    run({[] { send("one"); }, nothing});
    EXPECT_EQ(script.journal,
              joined({beginning(), waited(), switched_on(), played({"one", "two"}), waited()}));
}

// The wait knows no predicate: what came while nobody waited is played at the next wake-up, and not before.
TEST_F(PlayAudio, WaitsWithSoundInTheQueueForTheNextWakeUp) {
    script.when("alarm(5)", [] { send("late"); });
    run({[] { send("one"); }, nothing, nothing});
    EXPECT_EQ(script.journal, joined({beginning(), waited(), switched_on(), played({"one"}), waited(),
                                      played({"late"}), waited()}));
}

TEST_F(PlayAudio, PlaysAWordWithItsNul) {
    run({[] { send(std::string("SOUND_BAN\0", 10)); }, nothing});
    EXPECT_EQ(script.entries("play_sound"), (Entries{std::string("play_sound(SOUND_BAN\0)", 22)}));
    EXPECT_EQ(mortor_run, 0);
}

TEST_F(PlayAudio, WhileBannedSwitchesOnAndThrowsAway) {
    run({[] {
             send("SOUND_BAN");
             send("one");
             send("two");
         },
         nothing});
    EXPECT_EQ(script.without({"info: recv"}),
              joined({beginning(), waited(), switched_on(), played({}), waited()}));
    EXPECT_EQ(play_queue.count, 0);
}

TEST_F(PlayAudio, LooksAtTheBanBeforeEachSound) {
    script.when("play_sound(one)", [] { send("SOUND_BAN"); });
    run({[] {
             send("one");
             send("two");
         },
         [] {
             send("SOUND_UNBAN");
             send("three");
         },
         nothing});
    EXPECT_EQ(script.entries("play_sound"), (Entries{"play_sound(one)", "play_sound(three)"}));
}

TEST_F(PlayAudio, WokenForNothingSwitchesOnAndOffAllTheSame) {
    run({message_queue_wake, [] { script::pass(5000000); }});
    EXPECT_EQ(script.journal,
              joined({beginning(), waited(), switched_on(), played({}), waited(), switched_off()}));
}

TEST_F(PlayAudio, DoesNotMindABoardThatFails) {
    script.results = {{"enable_speaker", -1},
                      {"enable_aec", -1},
                      {"play_sound", -1},
                      {"disable_aec", -1},
                      {"disable_speaker", -1}};
    run({[] {
             send("one");
             send("two");
         },
         [] { script::pass(5000000); }});
    EXPECT_EQ(script.journal, joined({beginning(), waited(), switched_on(), played({"one", "two"}), waited(),
                                      switched_off()}));
}

TEST_F(PlayAudio, FourHundredAndOneMessagesWhileItPlaysAreAllLost) {
    script.when("play_sound(first)", [] {
        for (int i = 0; i < 401; ++i) {
            send(std::to_string(i));
        }
    });
    run({[] { send("first"); }, nothing});
    EXPECT_EQ(script.journal,
              joined({beginning(),
                      waited(),
                      switched_on(),
                      {"alarm(0)", "play_sound(first)",
                       "warning: message_queue_append(),queue is full, clear it\n", "alarm(5)"},
                      waited()}));
}

TEST_F(PlayAudio, FourHundredMessagesWhileItPlaysAreAllPlayed) {
    script.when("play_sound(first)", [] {
        for (int i = 0; i < 400; ++i) {
            send(std::to_string(i));
        }
    });
    run({[] { send("first"); }, nothing});
    EXPECT_EQ(script.count("play_sound"), 401U);
    EXPECT_FALSE(script.has("warning: "));
}

TEST_F(PlayAudio, EndsBehindTheSoundThatPlaysAndSetsTheAlarmAllTheSame) {
    script.when("play_sound(one)", [] { device_status.running = 0; });
    std::vector<PlayItem *> left;
    script.when("play_sound(one)", [&] { left.assign(play_queue.items + 1, play_queue.items + 2); });
    run({[] {
             send("one");
             send("two");
         },
         nothing});
    EXPECT_EQ(script.journal, joined({beginning(), waited(), switched_on(), played({"one"})}));
    ASSERT_EQ(left.size(), 1U);
    message_queue_free(left[0]); // forgotten with the queue, on purpose
}

TEST_F(PlayAudio, EndsItsQueue) {
    run({[] { send("one"); }, nothing});
    send("late"); // freed, or the address sanitizer would say so
    EXPECT_EQ(script.count("play_sound"), 1U);
}

TEST_F(PlayAudio, TheAlarmsHandlerSwitchesOffInOrder) {
    aec_on = 1;
    int at_log = -1;
    script.when("info: ###disable_aec###", [&] { at_log = aec_on; });
    aec_off_on_alarm(SIGALRM);
    EXPECT_EQ(script.journal, switched_off());
    EXPECT_EQ(at_log, 1);
    EXPECT_EQ(aec_on, 0);
}

TEST_F(PlayAudio, TheAlarmsHandlerKeepsErrnoOfWhatItInterrupts) {
    for (const char *call : {"disable_aec", "disable_speaker"}) {
        script.when(call, [] { errno = EPIPE; });
    }
    errno = EAGAIN;
    aec_off_on_alarm(SIGALRM);
    EXPECT_EQ(errno, EAGAIN);
}

TEST_F(PlayAudio, SetsNoAlarmWhenItIsOffAlreadyBehindTheSound) {
    script.when("play_sound(one)", [] { aec_off_on_alarm(SIGALRM); });
    run({[] { send("one"); }, nothing});
    EXPECT_EQ(script.count("alarm(5)"), 0U);
}

} // namespace
