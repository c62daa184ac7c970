// strellctl record: files that a decoder takes, and what remains when something goes wrong.

#include "support/eventually.h"
#include "support/system.h"
#include "tools/ctl.h"
#include "tools/probe.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

using ctl_test::frames_in;
using ctl_test::probe;
using ctl_test::start_ctl;
using support::System;

namespace {

/* How many frames strellctl says are in the file. */
int told_frames(const std::string &output) {
    const size_t end = output.find(" frames, ");
    const size_t begin = output.rfind(": ", end);
    return end == std::string::npos ? -1 : std::stoi(output.substr(begin + 2, end));
}

/* A recording of so many seconds; a machine under load captures fewer frames, never more. */
void expect_whole(const std::string &file, const std::string &output, int seconds) {
    constexpr int fps = 15;
    const int frames = frames_in(file);
    EXPECT_EQ(frames, told_frames(output)) << file << "\n" << output;
    EXPECT_GT(frames, 1) << file;
    EXPECT_LE(frames, seconds * fps + 2) << file;
}

class Record : public testing::Test {
  protected:
    std::string file(const std::string &name) const { return system_.dir().file(name); }

    /* A recording without end, of which something is on the disk already. */
    std::unique_ptr<support::Process> recording(const std::string &stream, const std::string &name) {
        auto process = start_ctl({"record", stream, file(name)});
        EXPECT_TRUE(support::eventually([&] {
            std::error_code ignored;
            return std::filesystem::exists(file(name), ignored);
        })) << process->output();
        return process;
    }

    System system_;
};

TEST_F(Record, EveryEndingGivesAFileThatDecodes) {
    system_.start();
    std::ofstream(file("sub.264")) << std::string(1000000, 'x'); // to be overwritten
    struct Case {
        std::string stream;
        std::string name;
        std::string codec;
    };
    const Case cases[] = {{"main", "main.h265", "hevc"}, {"main", "main.mp4", "hevc"},
                          {"main", "main.mkv", "hevc"},  {"sub", "sub.264", "h264"},
                          {"sub", "sub.mp4", "h264"},    {"sub", "sub.mkv", "h264"}};
    std::vector<std::unique_ptr<support::Process>> running;
    for (const Case &one : cases) {
        running.push_back(start_ctl({"record", one.stream, "-t", "2", file(one.name)}));
    }
    const auto to_pipe = ctl_test::run_shell(R"("$CTL" record sub -t 1 - >piped.264)", system_.dir().path());
    EXPECT_EQ(to_pipe.exit_code, 0) << to_pipe.output;
    expect_whole(file("piped.264"), to_pipe.output, 1);
    for (size_t i = 0; i < running.size(); ++i) {
        EXPECT_EQ(running[i]->exit_code(), 0) << running[i]->output();
        EXPECT_TRUE(running[i]->saw(" frames, ")) << running[i]->output();
        EXPECT_EQ(probe(file(cases[i].name)).rfind(cases[i].codec + " 640 360 ", 0), 0U) << cases[i].name;
        expect_whole(file(cases[i].name), running[i]->output(), 2);
    }
    const auto live = ctl_test::run_shell(R"(script -qec '"$CTL" record sub -t 2 live.264' /dev/null)",
                                          system_.dir().path());
    EXPECT_NE(live.output.find("recording: "), std::string::npos)
        << "progress on a terminal: " << live.output;
    EXPECT_EQ(running[0]->count("recording: "), 0U) << "and not in a pipe";
    const auto wrong = ctl_test::run_ctl({"record", "sub", "-t", "1", file("wrong.h265")});
    EXPECT_EQ(wrong.exit_code, 1);
    EXPECT_NE(wrong.output.find("the sub stream is H.264"), std::string::npos) << wrong.output;
    EXPECT_NE(wrong.output.find(".h264"), std::string::npos) << "says what fits";
    EXPECT_FALSE(std::filesystem::exists(file("wrong.h265")));
    const auto nowhere = ctl_test::run_ctl({"record", "sub", "-t", "1", file("missing/x.mkv")});
    EXPECT_EQ(nowhere.exit_code, 1);
    EXPECT_NE(nowhere.output.find("cannot create"), std::string::npos) << nowhere.output;
}

TEST_F(Record, CtrlCLeavesWholeFiles) {
    system_.start();
    for (const int number : {SIGINT, SIGTERM}) {
        const auto mp4 = recording("main", "a.mp4");
        const auto raw = recording("sub", "a.h264");
        ASSERT_TRUE(support::eventually([&] { return std::filesystem::file_size(file("a.h264")) > 8000; }));
        mp4->signal(number);
        raw->signal(number);
        EXPECT_EQ(mp4->exit_code(), 0) << mp4->output();
        EXPECT_EQ(raw->exit_code(), 0) << raw->output();
        EXPECT_GT(frames_in(file("a.mp4")), 0);
        EXPECT_GT(frames_in(file("a.h264")), 0);
        std::filesystem::remove(file("a.mp4"));
        std::filesystem::remove(file("a.h264"));
    }
}

TEST_F(Record, AFullDiskIsSaidAndLeavesWhatFitted) {
    system_.start();
    // 20 KB: less than the two or three seconds that these would take.
    const auto full = [&](const std::string &name) {
        return ctl_test::run_shell(R"(ulimit -f 20; "$CTL" record main -t 20 )" + name, system_.dir().path());
    };
    const auto raw = full("full.h265");
    EXPECT_EQ(raw.exit_code, 1);
    EXPECT_NE(raw.output.find("cannot write full.h265: File too large"), std::string::npos) << raw.output;
    EXPECT_GT(frames_in(file("full.h265")), 0) << "whole frames only";
    const auto mkv = full("full.mkv");
    EXPECT_EQ(mkv.exit_code, 1);
    EXPECT_NE(mkv.output.find("File too large"), std::string::npos) << mkv.output;
}

TEST_F(Record, ADaemonThatDiesLeavesWholeFiles) {
    system_.start();
    const auto mp4 = recording("main", "a.mp4");
    const auto raw = recording("sub", "a.h264");
    ASSERT_TRUE(support::eventually([&] { return std::filesystem::file_size(file("a.h264")) > 8000; }));
    system_.daemon->signal(SIGKILL);
    for (const auto *process : {&mp4, &raw}) {
        EXPECT_EQ((*process)->exit_code(), 1);
        EXPECT_TRUE((*process)->saw("strellctl: strell_v2 has ended")) << (*process)->output();
    }
    EXPECT_GT(frames_in(file("a.mp4")), 0);
    EXPECT_GT(frames_in(file("a.h264")), 0);
}

TEST_F(Record, AStreamThatStallsEndsItWithAReason) {
    system_.start();
    const auto begun = recording("main", "begun.mkv");
    ASSERT_EQ(support::run({support::program("boardctl"), "stall", "0"}).exit_code, 0);
    const auto idr = start_ctl({"idr", "main"});
    const auto late = start_ctl({"record", "main", file("late.mkv")});
    for (const auto *process : {&begun, &idr, &late}) {
        EXPECT_EQ((*process)->exit_code(), 1);
        EXPECT_TRUE((*process)->saw("the board is told to fail (stall): boardctl clear"))
            << (*process)->output();
    }
    EXPECT_GT(frames_in(file("begun.mkv")), 0);
    EXPECT_FALSE(std::filesystem::exists(file("late.mkv")));
}

} // namespace
