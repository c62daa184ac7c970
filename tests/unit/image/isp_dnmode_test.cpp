// Day/night mode: the thread that sets it, and the answer to who asks.

#include "image/isp_dnmode.h"

#include "control/play_audio.h"
#include "script/daemon_test.h"

#include <cerrno>

namespace {

class IspDnmode : public DaemonTest {};

// ---- starting the thread ----

TEST_F(IspDnmode, IsStoredAndSetOnADetachedThread) {
    EXPECT_EQ(set_isp_dnmode_thread(7), 0);
    EXPECT_EQ(script.journal, (Entries{"pthread_create(1, default)", "pthread_detach(1)"}));
    ASSERT_EQ(script.threads.size(), 1U);
    EXPECT_EQ(script.threads[0].body, isp_dnmode_thread);
    EXPECT_EQ(dn_mode, 7);
}

TEST_F(IspDnmode, IsStoredBeforeTheThreadIsCreated) {
    int32_t stored = -1;
    script.when("pthread_create", [&] { stored = dn_mode; });
    set_isp_dnmode_thread(2);
    EXPECT_EQ(stored, 2);
}

TEST_F(IspDnmode, WhoseThreadIsNotCreatedIsLoggedAndStoredAllTheSame) {
    script.pthread_create_results = {{1, -1}};
    EXPECT_EQ(set_isp_dnmode_thread(7), -1);
    EXPECT_EQ(journal(),
              (Entries{"pthread_create(1, default)", "log: Create set_isp_dnmode_thread error\n"}));
    EXPECT_EQ(dn_mode, 7);
}

TEST_F(IspDnmode, TakesAPositiveResultForSuccessButDetachesNoThreadThatIsNone) {
    script.pthread_create_results = {{1, EAGAIN}};
    EXPECT_EQ(set_isp_dnmode_thread(7), 0);
    EXPECT_EQ(script.journal, (Entries{"pthread_create(1, default)"}));
}

// ---- the thread ----

TEST_F(IspDnmode, ThatTheBoardTakesIsSetOnce) {
    dn_mode = 1;
    mortor_run = 1;
    EXPECT_EQ(isp_dnmode_thread(nullptr), nullptr);
    EXPECT_EQ(journal(),
              (Entries{"log: isp_dnmode_thread():{dn_mode, mortor_run}{1,1}\n", "set_isp_dnmode(1)"}));
}

TEST_F(IspDnmode, ThatTheBoardRefusesIsTriedOnceMoreAfterTenSeconds) {
    for (const int32_t result : {-1, 1}) { // only 0 is success
        script.journal.clear();
        dn_mode = 3;
        script.results = {{"set_isp_dnmode", result}};
        const uint64_t begin_us = script.now_us;
        isp_dnmode_thread(nullptr);
        EXPECT_EQ(journal(),
                  (Entries{"log: isp_dnmode_thread():{dn_mode, mortor_run}{3,0}\n", "set_isp_dnmode(3)",
                           "log: strell_v2 set_isp_dnmode mode = 3 fail,try again after 10s \n", "sleep(10)",
                           "set_isp_dnmode(3)"}));
        EXPECT_EQ(script.now_us - begin_us, 10000000U);
    }
}

TEST_F(IspDnmode, AskedForMeanwhileWinsOverTheOneThatIsRetried) {
    set_isp_dnmode_thread(1);
    script.results = {{"set_isp_dnmode", -1}};
    script.when("sleep(10)", [] { set_isp_dnmode_thread(0); }); // the second request
    script.threads[0].body(nullptr);
    EXPECT_EQ(script.entries("set_isp_dnmode"), (Entries{"set_isp_dnmode(1)", "set_isp_dnmode(0)"}));
}

TEST_F(IspDnmode, AskedForBeforeTheThreadComesToItWins) {
    set_isp_dnmode_thread(1);
    set_isp_dnmode_thread(0);
    const std::vector<script::Thread> started = script.threads;
    for (const script::Thread &thread : started) {
        thread.body(nullptr);
    }
    EXPECT_EQ(script.entries("set_isp_dnmode"), (Entries{"set_isp_dnmode(0)", "set_isp_dnmode(0)"}));
}

// ---- the answer ----

TEST_F(IspDnmode, IsToldWithTheBoardsResult) {
    script.results = {{"get_isp_dnmode", 5}, {"mode", 0x01020304}};
    get_dnmode_ack(9);
    EXPECT_EQ(script.journal, (Entries{"get_isp_dnmode()", "send_av_cmd_ack(9, 0x1017, 5, 04030201)"}));
}

TEST_F(IspDnmode, ThatTheBoardDoesNotKnowIsToldAsZero) {
    script.results = {{"get_isp_dnmode", -1}};
    get_dnmode_ack(9);
    EXPECT_EQ(script.journal, (Entries{"get_isp_dnmode()", "send_av_cmd_ack(9, 0x1017, -1, 00000000)"}));
}

TEST_F(IspDnmode, IsToldAsTheBoardHasItNotAsItWasAskedFor) {
    dn_mode = 1;
    get_dnmode_ack(9);
    EXPECT_TRUE(script.has("send_av_cmd_ack(9, 0x1017, 0, 00000000)"));
}

} // namespace
