// The daemon as a process: how it ends.

#include "support/system.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <random>

using support::System;

namespace {

class End : public testing::Test {
  protected:
    /* For a signal during the start-up. The handler may interrupt the address sanitizer's allocator there,
     * which is asked for each new thread; the search for leaks at exit would then wait for its lock for ever.
     */
    void start_daemon_that_may_be_interrupted() {
        system_.start_daemon({{"ASAN_OPTIONS", "detect_leaks=0"}});
    }

    System system_;
};

class EndBySignal : public End, public testing::WithParamInterface<int> {};

TEST_P(EndBySignal, OneHandlerLineStatus255AndNoJoins) {
    system_.start();
    system_.daemon->signal(GetParam());
    EXPECT_EQ(system_.daemon->exit_code(), 255) << system_.daemon->output();
    EXPECT_EQ(system_.daemon->count("info ---sighandler:last -1, new " + std::to_string(GetParam()) + "---"),
              1U);
    EXPECT_EQ(system_.daemon->count("---sighandler"), 1U);
    for (const char *line :
         {"main(), 683", "main(), 686", "main(), 688", "main(), 691", "main(), 693", "main(), 696"}) {
        EXPECT_EQ(system_.daemon->count(line), 0U) << line;
    }
}

INSTANTIATE_TEST_SUITE_P(Signals, EndBySignal, testing::Values(SIGINT, SIGTERM, SIGSEGV));

class EndByFault : public End, public testing::WithParamInterface<const char *> {};

TEST_P(EndByFault, InAnyThreadEndsTheProcessAsASignalDoes) {
    system_.start();
    const pid_t pid = system_.daemon->pid();
    pid_t thread = 0;
    ASSERT_TRUE(support::eventually([&] { return (thread = support::thread_named(pid, GetParam())) > 0; }));
    ASSERT_EQ(tgkill(pid, thread, SIGSEGV), 0);
    EXPECT_EQ(system_.daemon->exit_code(), 255) << system_.daemon->output();
    EXPECT_EQ(system_.daemon->count("---sighandler:last -1, new 11---"), 1U);
}

// Not play_audio: it takes no signals where it waits, and cannot fault there.
INSTANTIATE_TEST_SUITE_P(Threads, EndByFault,
                         testing::Values("av_rpc", "video0", "video1", "fetch_audio", "OSD",
                                         "ankai_ircut_ctr", "algo_kit"),
                         [](const auto &row) { return std::string(row.param); });

TEST_F(End, TwoSignalsAtOnceEndTheProcessAsOneDoes) {
    system_.start_store();
    system_.start_board();
    for (int round = 0; round < 10; ++round) {
        system_.start_daemon();
        ASSERT_TRUE(system_.daemon_is_up()) << system_.daemon->output();
        system_.daemon->signal(SIGTERM);
        system_.daemon->signal(SIGINT);
        EXPECT_EQ(system_.daemon->exit_code(), 255) << system_.daemon->output();
    }
}

TEST_F(End, SigpipeIsIgnored) {
    system_.start();
    system_.daemon->signal(SIGPIPE);
    EXPECT_TRUE(system_.streams_run());
    EXPECT_EQ(system_.daemon->count("sighandler"), 0U);
}

TEST_F(End, TheBoardGoesIdleAndServesTheNextDaemon) {
    system_.start();
    system_.daemon->signal(SIGTERM);
    ASSERT_EQ(system_.daemon->exit_code(), 255);
    system_.start_daemon();
    ASSERT_TRUE(system_.daemon_is_up());
    EXPECT_TRUE(system_.streams_run());
}

TEST_F(End, AtAnyMoment) {
    // From the first millisecond on. Before the handler is installed the signal itself ends the process.
    system_.start_store();
    system_.start_board();
    const char *wanted = std::getenv("STRELL_END_ROUNDS"); // for a longer look than every run can afford
    const int rounds = wanted == nullptr ? 20 : std::atoi(wanted);
    std::mt19937 random(20);
    for (int round = 0; round < rounds; ++round) {
        const int number = round % 2 == 0 ? SIGTERM : SIGINT;
        start_daemon_that_may_be_interrupted();
        const auto delay = std::chrono::microseconds(random() % 300000);
        EXPECT_FALSE(
            system_.daemon->wait(std::chrono::duration_cast<std::chrono::milliseconds>(delay)).has_value());
        system_.daemon->signal(number);
        const int code = system_.daemon->exit_code(std::chrono::seconds(2));
        const bool handled = system_.daemon->saw("---sighandler:last -1, new " + std::to_string(number));
        ASSERT_EQ(code, handled ? 255 : 128 + number) << "after " << delay.count() << " us\n"
                                                      << system_.daemon->output();
    }
}

TEST_F(End, WhileTheLastIsStarted) {
    // Between threads, analytics and the infrared-cut controller, with tracking and without.
    system_.start_store();
    system_.start_board();
    for (const char *tracking : {"off", "on"}) {
        ASSERT_TRUE(System::set("motion_detection_enable", tracking));
        for (const char *line : {"start_osd_thread(), ret is 0", "set_ircut_day_mode():", "osd_tid is"}) {
            for (const int number : {SIGTERM, SIGINT}) {
                start_daemon_that_may_be_interrupted();
                ASSERT_TRUE(system_.daemon->saw(line)) << line << "\n" << system_.daemon->output();
                system_.daemon->signal(number);
                EXPECT_EQ(system_.daemon->exit_code(), 255) << line << "\n" << system_.daemon->output();
                EXPECT_EQ(system_.daemon->count("---sighandler:last -1, new " + std::to_string(number)), 1U);
            }
        }
    }
}

TEST_F(End, WhileTheLoopWaitsForTheInfraredCutWorker) {
    system_.start();
    ASSERT_TRUE(support::eventually(
        [&] { return support::thread_named(system_.daemon->pid(), "ankai_ircut_ctr") > 0; }));
    ASSERT_TRUE(System::set("night_mode", "1"));
    // The worker rests for half a second between its looks, and the loop holds the lock until it has ended.
    ASSERT_TRUE(system_.daemon->saw("[ircut_mode_switch]switch to ircut mode day"));
    system_.daemon->signal(SIGTERM);
    EXPECT_EQ(system_.daemon->exit_code(), 255) << system_.daemon->output();
    EXPECT_EQ(system_.daemon->count("---sighandler:last -1, new 15---"), 1U);
}

TEST_F(End, ABoardThatIsKilledEndsTheDaemonAfter202Errors) {
    support::StatisticsService statistics(system_.dir());
    system_.start();
    system_.board->signal(SIGKILL);
    EXPECT_EQ(system_.daemon->exit_code(), 255) << system_.daemon->output();
    EXPECT_TRUE(system_.daemon->saw("video error for 202 times, exit"));
    EXPECT_EQ(system_.daemon->count("video error for 203 times"), 0U);
    const std::vector<std::string> reports = statistics.reports();
    ASSERT_GE(reports.size(), 1U);
    // Both channels fail at the same rate: the one that is first ends the process, the other may just make
    // it.
    ASSERT_LE(reports.size(), 2U);
    for (const std::string &report : reports) {
        const std::string type = report.substr(report.find("\"type\":") + 7, 1);
        EXPECT_EQ(report, R"({"name":"strell_v2.err","object":{"type":)" + type + "}}");
        EXPECT_EQ(system_.daemon->count("error video_stream_thread(),fetch chn " + type + " video error"),
                  1U);
    }
    // Two when both threads raise it: the second thread's handler may log before the first has noted its own.
    EXPECT_TRUE(system_.daemon->saw("---sighandler:last -1, new 2---"));
}

TEST_F(End, OneChannelThatFailsIsReportedOnceAsItself) {
    for (const int channel : {0, 1}) {
        System system;
        support::StatisticsService statistics(system.dir());
        system.start();
        ASSERT_EQ(support::run({support::program("boardctl"), "fail", std::to_string(channel)}).exit_code, 0);
        EXPECT_EQ(system.daemon->exit_code(), 255) << system.daemon->output();
        EXPECT_EQ(statistics.reports(),
                  (std::vector<std::string>{R"({"name":"strell_v2.err","object":{"type":)" +
                                            std::to_string(channel) + "}}"}));
        EXPECT_EQ(
            system.daemon->count("fetch chn " + std::to_string(channel) + " video error for 202 times, exit"),
            1U);
    }
}

TEST_F(End, AServerThatIsClosedStopsTheLoopAndNotTheProcess) {
    system_.start();
    std::filesystem::remove(system_.dir().file("audio_in"));
    EXPECT_TRUE(system_.daemon->saw("info Server 4 Closed"));
    EXPECT_TRUE(system_.daemon->saw("info ipc_thread(),2542"));
    EXPECT_TRUE(
        support::eventually([&] { return !std::filesystem::exists(system_.dir().file("audio_play")); }));
    EXPECT_FALSE(std::filesystem::exists(system_.dir().file("video_mainstream")));
    EXPECT_EQ(system_.daemon->exit_code(std::chrono::milliseconds(500)), -1) << "producers go on";
    system_.daemon->signal(SIGTERM);
    EXPECT_EQ(system_.daemon->exit_code(), 255) << system_.daemon->output();
}

} // namespace
