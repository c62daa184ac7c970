// The thread that keeps the time stamp current.

#include "media/osd.h"

#include "script/daemon_test.h"
#include "settings/device_status.h"

#include <cerrno>

namespace {

class Osd : public DaemonTest {
  protected:
    /* Runs the thread's body until it has slept this often. */
    void run(size_t turns) {
        script.when(
            "usleep(500000)", [] { device_status.running = 0; }, turns);
        EXPECT_EQ(osd_thread(nullptr), nullptr);
    }
};

TEST_F(Osd, ThreadIsStarted) {
    pthread_t thread = 91;
    EXPECT_EQ(start_osd_thread(&thread), 0);
    EXPECT_EQ(journal(), (Entries{"pthread_create(1, default)", "log: start_osd_thread(), ret is 0\n"}));
    EXPECT_EQ(thread, 1U);
    ASSERT_EQ(script.threads.size(), 1U);
    EXPECT_EQ(script.threads[0].body, osd_thread);
}

TEST_F(Osd, ThreadThatIsNotCreatedIsLogged) {
    for (const int result : {EAGAIN, -1}) {
        script.journal.clear();
        script.threads.clear();
        script.pthread_create_results = {{1, result}};
        pthread_t thread = 91;
        EXPECT_EQ(start_osd_thread(&thread), -1);
        EXPECT_EQ(journal(), (Entries{"pthread_create(1, default)",
                                      script::format("log: start_osd_thread(), ret is %d\n", result),
                                      "err: start_osd_thread(),create error\n"}));
    }
}

TEST_F(Osd, IsRefreshedTwiceASecond) {
    run(3);
    EXPECT_EQ(script.journal, (Entries{"prctl(PR_SET_NAME, OSD)", "osd_update_timestamp(3)", "usleep(500000)",
                                       "osd_update_timestamp(3)", "usleep(500000)", "osd_update_timestamp(3)",
                                       "usleep(500000)"}));
}

TEST_F(Osd, IsNotRefreshedWhileTheCameraIsOffButTheLoopGoesOn) {
    device_status.power = 0;
    run(3);
    EXPECT_EQ(script.journal,
              (Entries{"prctl(PR_SET_NAME, OSD)", "usleep(500000)", "usleep(500000)", "usleep(500000)"}));
}

TEST_F(Osd, FollowsThePower) {
    device_status.power = 0;
    script.when("usleep(500000)", [] { device_status.power = 1; });
    run(2);
    EXPECT_EQ(script.count("osd_update_timestamp"), 1U);
}

TEST_F(Osd, TakesTheRegionThatIsSetByThen) {
    script.when("usleep(500000)", [] { device_status.region_code = 0; });
    run(2);
    EXPECT_EQ(script.entries("osd_update"), (Entries{"osd_update_timestamp(3)", "osd_update_timestamp(0)"}));
}

TEST_F(Osd, DoesNotLookAtTheWatermark) {
    device_status.watermark = 0;
    device_status.reload_boardav = 1;
    run(1);
    EXPECT_EQ(script.count("osd_update_timestamp"), 1U);
}

TEST_F(Osd, DoesNotMindABoardThatFails) {
    script.results["osd_update_timestamp"] = -1;
    run(2);
    EXPECT_EQ(script.count("osd_update_timestamp"), 2U);
}

TEST_F(Osd, DoesNothingWhenItHasNotToRun) {
    device_status.running = 0;
    osd_thread(nullptr);
    EXPECT_EQ(script.journal, (Entries{"prctl(PR_SET_NAME, OSD)"}));
}

} // namespace
