// The daemon as a process: how it starts, and how it does not.

#include "support/channel_fixture.h"
#include "support/system.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <set>

using support::eventually;
using support::System;

namespace {

class Start : public testing::Test {
  protected:
    System system_;
};

std::set<std::string> thread_names(pid_t pid) {
    std::set<std::string> names;
    for (const auto &task : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
        std::string name;
        std::getline(std::ifstream(task.path() / "comm"), name);
        names.insert(name);
    }
    return names;
}

TEST_F(Start, BringsUpItsThreadsAndChannels) {
    system_.start();
    const std::set<std::string> expected = {"av_rpc",     "video0", "video1",         "fetch_audio",
                                            "play_audio", "OSD",    "ankai_ircut_ctr"}; // as much as fits
    EXPECT_TRUE(eventually([&] {
        const std::set<std::string> names = thread_names(system_.daemon->pid());
        return std::includes(names.begin(), names.end(), expected.begin(), expected.end());
    }));
    for (const char *name : {"video_mainstream", "video_substream", "video_rawstream", "jpeg_snap",
                             "audio_in", "audio_play", "md_event", "lsd_event"}) {
        EXPECT_TRUE(std::filesystem::is_socket(system_.dir().file(name))) << name;
    }
    EXPECT_FALSE(std::filesystem::exists(system_.dir().file("motor_event")));
}

TEST_F(Start, WithoutAStoreEndsWithStatusOne) {
    system_.start_board();
    system_.start_daemon();
    EXPECT_EQ(system_.daemon->exit_code(), 1);
    EXPECT_EQ(system_.daemon->count("error libmortox_open faild."), 1U);
}

TEST_F(Start, OnAnEmptyStoreEverythingHasItsDefault) {
    system_.start_empty_store();
    system_.start_board();
    system_.start_daemon();
    ASSERT_TRUE(system_.daemon_is_up()) << system_.daemon->output();
    EXPECT_EQ(system_.daemon->count("Hot Config Get faild."), 1U);
    EXPECT_EQ(system_.daemon->count("device status is {0,1,1,0,0}"), 1U);
    EXPECT_EQ(System::get("hot_config"),
              R"({"id":0,"icon":0,"cch":0,"pt":[1,1],"bps":[7,0],"fps":[15,15],"res":[4,2]})");
}

TEST_F(Start, TakesNoArguments) {
    system_.start_store();
    system_.start_board();
    system_.daemon = std::make_unique<support::Process>(
        std::vector<std::string>{support::program("strell_v2"), "--help", "x"});
    ASSERT_TRUE(system_.daemon_is_up()) << system_.daemon->output();
    EXPECT_TRUE(system_.streams_run());
}

TEST_F(Start, AProfileThatIsNoneGivesWayToTheDefaultOfTheSensor) {
    for (const auto &[sensor, profile] :
         {std::pair{"400", R"({"id":0,"icon":0,"cch":0,"pt":[1,1],"bps":[7,0],"fps":[15,15],"res":[4,2]})"},
          std::pair{"300",
                    R"({"id":0,"icon":0,"cch":0,"pt":[1,1],"bps":[5,0],"fps":[15,15],"res":[3,2]})"}}) {
        System system;
        system.start_store({"--memory", "nvram", "--memory", "mem"});
        ASSERT_TRUE(System::set("hot_config", "no profile"));
        ASSERT_TRUE(System::set("bind_status", "no"));
        system.start_board({"--sensor", sensor});
        system.start_daemon();
        ASSERT_TRUE(system.daemon_is_up()) << system.daemon->output();
        EXPECT_EQ(System::get("hot_config"), profile);
        EXPECT_EQ(system.daemon->count("warning Save default HotConfig:" + std::string(profile)), 1U);
        EXPECT_EQ(system.daemon->count("device status is {0,1,1,0,0}"), 1U);
    }
}

TEST_F(Start, WithoutAProfileAndWithoutABoardEndsWithStatusOne) {
    system_.start_store();
    ASSERT_TRUE(System::set("hot_config", "{}"));
    system_.start_daemon();
    EXPECT_EQ(system_.daemon->exit_code(), 1);
    EXPECT_EQ(system_.daemon->count("error [main:581] Get device type error"), 1U);
}

TEST_F(Start, ABoardThatRefusesToComeUpGivesItsStatus) {
    system_.start_store();
    system_.start_board();
    ASSERT_EQ(support::run({support::program("boardctl"), "refuse", "init", "-3"}).exit_code, 0);
    system_.start_daemon();
    EXPECT_EQ(system_.daemon->exit_code(), 253) << "-3 as an exit status";
    EXPECT_EQ(system_.daemon->count("main(),637"), 0U);
    for (const char *line : {"error oru_algo_finish failed!", "info oru_ircut_exit enter",
                             "info [oru_ircut_exit] already exit"}) {
        EXPECT_EQ(system_.daemon->count(line), 1U) << line;
    }
    EXPECT_FALSE(std::filesystem::exists(system_.dir().file("video_mainstream")));
}

TEST_F(Start, ANamespaceThatIsMissingCostsOnlyItsOwnWatch) {
    system_.start_store({"--memory", "nvram"});
    system_.start_board();
    system_.start_daemon();
    ASSERT_TRUE(system_.daemon_is_up()) << system_.daemon->output();
    EXPECT_EQ(system_.daemon->count("error register hot_status faild."), 1U);
    EXPECT_EQ(system_.daemon->count("register hot_config faild."), 0U);
    ASSERT_TRUE(System::set("hot_config", support::small_profile));
    EXPECT_TRUE(system_.daemon->saw("Notify: nvram:default:hot_config"));
}

TEST_F(Start, ASecondDaemonFindsTheBoardTakenAndDisturbsNobody) {
    system_.start();
    support::Process second({support::program("strell_v2")});
    EXPECT_EQ(second.exit_code(), 256 - EBUSY);
    EXPECT_EQ(second.count("main(),637"), 0U);
    EXPECT_TRUE(system_.streams_run());
}

TEST_F(Start, AChannelThatSomebodyElseServesIsLeftAlone) {
    support::TestChannel other("/run/video_mainstream");
    system_.start_store();
    system_.start_board();
    system_.start_daemon();
    EXPECT_TRUE(system_.daemon->saw("error shbf 0 start error -98")) << system_.daemon->output();
    EXPECT_TRUE(system_.daemon->saw("error shbf_init(0) fail -1, quit."));
    system_.daemon->signal(SIGTERM);
    EXPECT_EQ(system_.daemon->exit_code(), 255);
    EXPECT_EQ(system_.daemon->count("start mainloop"), 0U);
    EXPECT_NE(support::attach("/run/video_mainstream"), nullptr);
}

TEST_F(Start, AChannelThatCannotBeMadeTakesThoseBeforeItAlong) {
    std::filesystem::create_directory(system_.dir().file("jpeg_snap"));
    system_.start_store();
    system_.start_board();
    system_.start_daemon();
    EXPECT_TRUE(system_.daemon->saw("error shbf 3 start error -17")) << system_.daemon->output();
    EXPECT_TRUE(system_.daemon->saw("error shbf_init(3) fail -1, quit."));
    EXPECT_TRUE(eventually([&] { return !std::filesystem::exists(system_.dir().file("video_rawstream")); }));
    for (const char *name : {"video_mainstream", "video_substream", "audio_in", "audio_play", "md_event"}) {
        EXPECT_FALSE(std::filesystem::exists(system_.dir().file(name))) << name;
    }
    EXPECT_EQ(system_.daemon->count("start mainloop"), 0U);
    // The producers go on without channels until somebody ends the process.
    EXPECT_EQ(system_.daemon->exit_code(std::chrono::milliseconds(300)), -1);
    system_.daemon->signal(SIGTERM);
    EXPECT_EQ(system_.daemon->exit_code(), 255);
}

TEST_F(Start, SocketsOfADaemonThatWasKilledAreReplaced) {
    system_.start();
    system_.daemon->signal(SIGKILL);
    EXPECT_EQ(system_.daemon->exit_code(), 128 + SIGKILL);
    EXPECT_TRUE(std::filesystem::is_socket(system_.dir().file("video_mainstream")));
    system_.start_daemon();
    ASSERT_TRUE(system_.daemon_is_up()) << system_.daemon->output();
    EXPECT_TRUE(system_.streams_run());
}

TEST_F(Start, AnUnboundCameraBringsNoVideoUntilItIsBound) {
    system_.start_store();
    ASSERT_TRUE(System::set("bind_status", "no"));
    system_.start_board();
    system_.start_daemon();
    ASSERT_TRUE(system_.daemon_is_up());
    const auto receiver = support::attach("/run/video_mainstream");
    ASSERT_NE(receiver, nullptr);
    shbf_event_t event;
    EXPECT_EQ(shbf_rcv_next(receiver.get(), &event, 1500), 0);
    EXPECT_EQ(system_.daemon->count("video_stream_thread(),video chn"), 0U);
    ASSERT_TRUE(System::set("bind_status", "ok"));
    EXPECT_TRUE(system_.streams_run()) << "without a restart";
}

TEST(Binary, NeedsNoCppRunTimeLibrary) {
    for (const char *name : {"bin/strell_v2", "lib/libboardav.so", "lib/libdevice_kitv2.so",
                             "lib/libmortox.so", "lib/libmortoxev.so", "lib/libshbf.so", "lib/libshbfev.so",
                             "lib/libvuto_util.so.0", "lib/libvuto_statistics.so.0"}) {
        const auto outcome = support::run({"readelf", "-d", std::string(STRELL_BIN_DIR) + "/../" + name});
        ASSERT_EQ(outcome.exit_code, 0);
        EXPECT_NE(outcome.output.find("NEEDED"), std::string::npos);
        EXPECT_EQ(outcome.output.find("libstdc++"), std::string::npos) << name;
        EXPECT_EQ(outcome.output.find("libgcc_s"), std::string::npos) << name;
    }
}

} // namespace
