// strellctl on a whole camera: status, watch, idr, reload.

#include "support/eventually.h"
#include "support/system.h"
#include "tools/ctl.h"
#include "tools/probe.h"

#include <csignal>
#include <gtest/gtest.h>

using ctl_test::run_ctl;
using ctl_test::start_ctl;
using support::System;

namespace {

class Streams : public testing::Test {
  protected:
    System system_;
};

TEST_F(Streams, StatusKnowsChannelsBoardAndStore) {
    system_.start();
    const auto receiver = support::attach("/run/video_mainstream");
    const auto plain = run_ctl({"status"});
    EXPECT_EQ(plain.exit_code, 0) << plain.output;
    const std::string pid = std::to_string(system_.daemon->pid());
    EXPECT_NE(plain.output.find("main   served by process " + pid + ", 1 receiver, "), std::string::npos)
        << plain.output;
    EXPECT_NE(plain.output.find("main  H.265 640x360, 15 fps, 256 kbit/s"), std::string::npos);
    EXPECT_NE(plain.output.find("sub   H.264 640x360, 15 fps, 256 kbit/s"), std::string::npos);
    EXPECT_NE(plain.output.find("the camera is bound"), std::string::npos);
    const auto json = ctl_test::objects(run_ctl({"status", "--json"}).output);
    ASSERT_EQ(json.size(), 1U);
    EXPECT_TRUE(json[0].truth("good"));
    for (const std::string channel : {"channels.main", "channels.sub"}) {
        EXPECT_TRUE(json[0].truth(channel + ".served"));
        EXPECT_EQ(json[0].number(channel + ".pid"), system_.daemon->pid());
        EXPECT_GT(json[0].number(channel + ".arena_bytes"), 0);
    }
    EXPECT_EQ(json[0].number("channels.main.receivers"), 1);
    EXPECT_EQ(json[0].number("channels.sub.receivers"), 0);
    EXPECT_EQ(json[0].text("board.status.phase"), "running");
    EXPECT_EQ(json[0].text("store.bind_status"), "ok");

    system_.store->signal(SIGKILL);
    system_.store->wait();
    const auto without = run_ctl({"status"});
    EXPECT_EQ(without.exit_code, 1);
    EXPECT_NE(without.output.find("main   served by process " + pid), std::string::npos) << "what is known";
    EXPECT_NE(without.output.find("strellctl: the settings store is not there"), std::string::npos);
}

TEST_F(Streams, WatchTellsHowAStreamRuns) {
    system_.start();
    const auto plain = start_ctl({"watch", "main"});
    const auto limited = start_ctl({"watch", "sub", "--json", "-t", "2.5"});
    EXPECT_EQ(limited->exit_code(), 0) << limited->output();
    limited->saw("\n"); // the end of its output
    const auto told = ctl_test::objects(limited->lines());
    ASSERT_GE(told.size(), 2U);
    ASSERT_LE(told.size(), 3U);
    const ctl_test::Json &second = told.front();
    EXPECT_EQ(second.text("kind"), "second");
    for (const ctl_test::Json &object : told) {
        EXPECT_EQ(object.text("stream"), "sub");
        EXPECT_EQ(object.text("codec"), "H.264");
        EXPECT_EQ(object.number("width"), 640);
        EXPECT_EQ(object.number("height"), 360);
        EXPECT_GT(object.number("frames"), 0);
        EXPECT_GT(object.number("bytes"), 0);
        EXPECT_GT(object.number("bits_per_s"), 0);
        EXPECT_GT(object.real("fps"), 0);
        EXPECT_EQ(object.number("skipped"), 0);
        EXPECT_EQ(object.number("restarts"), 0);
        EXPECT_TRUE(object.has("lost"));
        EXPECT_TRUE(object.has("key_interval_ms"));
    }
    EXPECT_GT(second.real("latency_ms"), 0);
    const ctl_test::Json &summary = told.back();
    EXPECT_EQ(summary.text("kind"), "summary");
    EXPECT_GE(summary.number("key_frames"), 1);
    EXPECT_LE(summary.real("latency_ms.p50"), summary.real("latency_ms.max"));

    ASSERT_TRUE(plain->saw("key every ")) << plain->output();
    plain->signal(SIGINT);
    EXPECT_EQ(plain->exit_code(), 0);
    EXPECT_TRUE(plain->saw("main: ")) << plain->output();
    EXPECT_TRUE(plain->saw("  latency "));
    EXPECT_TRUE(plain->saw("  lost "));
    EXPECT_EQ(plain->lines().front().rfind("main  H.265 640x360  ", 0), 0U) << plain->output();
    EXPECT_TRUE(ctl_test::has_no_control_characters(plain->output()));

    const auto live =
        ctl_test::run_shell(R"(script -qec '"$CTL" watch sub -t 1.5' /dev/null)", system_.dir().path());
    EXPECT_EQ(live.exit_code, 0);
    EXPECT_NE(live.output.find("\x1b[J"), std::string::npos) << "redrawn in place on a terminal";
}

TEST_F(Streams, KeyFramesComeOnRequest) {
    system_.start();
    for (const std::string stream : {"main", "sub"}) {
        const auto outcome = run_ctl({"idr", stream});
        EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
        EXPECT_EQ(outcome.output.rfind(stream + ": key frame after ", 0), 0U) << outcome.output;
    }
    const auto quiet = ctl_test::run_shell(R"("$CTL" watch main | head -1; echo "status ${PIPESTATUS[0]}")",
                                           system_.dir().path());
    EXPECT_NE(quiet.output.find("status 0\n"), std::string::npos) << quiet.output;
    EXPECT_EQ(quiet.output.find("strellctl:"), std::string::npos) << quiet.output;
}

TEST_F(Streams, FollowingOutlivesTheDaemon) {
    const auto follow = start_ctl({"status", "--follow"});
    const auto json = start_ctl({"status", "--follow", "--json"});
    ASSERT_TRUE(follow->saw("main  waits for strell_v2"));
    ASSERT_TRUE(follow->saw("sub   waits for strell_v2"));
    system_.start();
    EXPECT_TRUE(follow->saw("main  H.265 640x360  ")) << follow->output();
    EXPECT_TRUE(follow->saw("sub   H.264 640x360  "));
    EXPECT_TRUE(json->saw(R"("codec":"H.264")"));
    const size_t from = follow->lines().size();
    system_.daemon->signal(SIGKILL);
    system_.daemon->wait();
    EXPECT_TRUE(follow->saw("main  waits for strell_v2", support::patience, from)) << follow->output();
    const size_t again = follow->lines().size();
    system_.start_daemon();
    EXPECT_TRUE(follow->saw("main  H.265 640x360  ", support::patience, again)) << follow->output();
    for (const auto *process : {&follow, &json}) {
        (*process)->signal(SIGTERM);
        EXPECT_EQ((*process)->exit_code(), 0);
    }
    EXPECT_TRUE(ctl_test::has_no_control_characters(follow->output()));
    const auto objects = ctl_test::objects(json->lines());
    ASSERT_FALSE(objects.empty());
    EXPECT_FALSE(objects.front().truth("main.attached"));
    EXPECT_TRUE(objects.front().is_null("main.codec"));
}

TEST_F(Streams, FollowingCountsOthersAndNotItself) {
    system_.start();
    const auto follow = start_ctl({"status", "--follow"});
    ASSERT_TRUE(follow->saw(" kbit/s  0 receivers")) << follow->output();
    auto other = support::attach("/run/video_mainstream");
    EXPECT_TRUE(follow->saw("main  H.265 640x360  ")) << follow->output();
    EXPECT_TRUE(follow->saw(" kbit/s  1 receiver")) << follow->output();
    EXPECT_EQ(follow->count("2 receivers"), 0U);
    const size_t from = follow->lines().size();
    other.reset();
    EXPECT_TRUE(follow->saw(" kbit/s  0 receivers", support::patience, from)) << follow->output();
    EXPECT_NE(run_ctl({"status"}).output.find(", 1 receiver, "), std::string::npos)
        << "who follows is one to others";
}

TEST_F(Streams, ReloadAppliesANewProfileAndEndsRecordings) {
    system_.start();
    const std::string file = system_.dir().file("main.mkv");
    const auto watch = start_ctl({"watch", "sub", "--json"});
    const auto record = start_ctl({"record", "main", file});
    ASSERT_TRUE(support::eventually(
        [&] { return ctl_test::run_shell("test -s main.mkv", system_.dir().path()).exit_code == 0; }));
    const char *profile = R"({"id":0,"icon":0,"cch":0,"pt":[0,1],"bps":[0,0],"fps":[10,15],"res":[2,2]})";
    ASSERT_EQ(run_ctl({"set", "hot_config", profile}).exit_code, 0);
    const auto reload = run_ctl({"reload"});
    EXPECT_EQ(reload.exit_code, 0) << reload.output;
    EXPECT_EQ(System::get("hot_status", "mem"), "changed");
    EXPECT_TRUE(watch->saw(R"("codec":"H.265")")) << "attached all the while";
    EXPECT_TRUE(watch->saw(R"("restarts":1)"));
    EXPECT_EQ(record->exit_code(), 1);
    EXPECT_TRUE(record->saw("the stream is now H.264 640x360")) << record->output();
    EXPECT_GT(ctl_test::frames_in(file), 0);
}

TEST_F(Streams, ACameraWithoutOwnerIsRecognised) {
    system_.start_store();
    ASSERT_TRUE(System::set("bind_status", "no"));
    system_.start_board();
    system_.start_daemon();
    ASSERT_TRUE(system_.daemon_is_up());
    const auto idr = start_ctl({"idr", "main"});
    const auto watch = start_ctl({"watch", "sub", "-t", "1"});
    for (const auto *process : {&idr, &watch}) {
        EXPECT_EQ((*process)->exit_code(), 1);
        EXPECT_TRUE((*process)->saw("not bound to an owner: strellctl set bind_status ok"))
            << (*process)->output();
    }
    const auto status = run_ctl({"status"});
    EXPECT_EQ(status.exit_code, 0);
    EXPECT_NE(status.output.find("not bound"), std::string::npos) << status.output;
}

} // namespace
