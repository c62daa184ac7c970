// libalgo_kit against a real boardd.
//
// Each test is a process of its own, as those of libboardav are: oru_api_algo_init comes once at most.

#include "libalgo_kit.h"

#include "board/analytics_protocol.h"
#include "board/client/control_call.h"
#include "contract/board_fixture.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <regex>
#include <unistd.h>

namespace {

using namespace contract;
using support::eventually;

struct Journal {
    std::mutex mutex;
    std::vector<std::string> events;
    std::vector<TrackDirection> directions;
    std::atomic<bool> length_is_right{true};
};
Journal journal;

int32_t on_event(const char *text, int32_t length) {
    const std::lock_guard<std::mutex> lock(journal.mutex);
    journal.length_is_right = journal.length_is_right && std::strlen(text) == static_cast<size_t>(length);
    journal.events.emplace_back(text);
    return 0;
}

int32_t on_track(const void *record, int32_t length) {
    const std::lock_guard<std::mutex> lock(journal.mutex);
    journal.length_is_right = journal.length_is_right && length == sizeof(TrackDirection);
    TrackDirection direction{};
    std::memcpy(&direction, record, sizeof direction);
    journal.directions.push_back(direction);
    return 0;
}

size_t events(const std::string &begin = "") {
    const std::lock_guard<std::mutex> lock(journal.mutex);
    return static_cast<size_t>(
        std::count_if(journal.events.begin(), journal.events.end(),
                      [&](const std::string &text) { return text.starts_with(begin); }));
}

size_t directions() {
    const std::lock_guard<std::mutex> lock(journal.mutex);
    return journal.directions.size();
}

size_t entries(const std::string &directory) {
    return static_cast<size_t>(
        std::distance(std::filesystem::directory_iterator(directory), std::filesystem::directory_iterator()));
}

/* The thread of this process with that name, as a directory under /proc; empty when there is none. */
std::string own_thread(const std::string &wanted) {
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::getline(std::ifstream(entry.path() / "comm"), name);
        if (name == wanted) {
            return entry.path();
        }
    }
    return "";
}

std::string line_of(const std::string &file, const std::string &begin) {
    std::ifstream stream(file);
    std::string line;
    while (std::getline(stream, line) && !line.starts_with(begin)) {
    }
    return line;
}

class AlgoKit : public BoardTest {
  protected:
    ~AlgoKit() override {
        oru_api_algo_deinit();
        EXPECT_TRUE(journal.length_is_right);
    }

    /* A board with this source, and the detectors. */
    void start(const std::vector<std::string> &options = {}) {
        start_board(profile_of(h265_channel(), h264_channel(160, 90)), options);
        ASSERT_EQ(oru_api_algo_init(on_event, on_track), 0);
    }

    /* Waits until so many more pictures have been captured. */
    bool pass_frames(int64_t count) {
        const int64_t until = status_number("/source/frames") + count;
        return eventually([&] { return status_number("/source/frames") >= until; });
    }

    static void set_sensitivity(int32_t value) {
        EXPECT_EQ(oru_api_algo_set_param(0, &value, sizeof value), 0);
    }
};

TEST_F(AlgoKit, TellsMotionOnTheDefaultScene) {
    start();
    ASSERT_TRUE(eventually([] { return events("Motion x=") >= 2; })) << boardd_->output();
    const std::lock_guard<std::mutex> lock(journal.mutex);
    const std::regex form("Motion x=(\\d+) y=(\\d+) w=(\\d+) h=(\\d+) area=(\\d+)");
    std::smatch numbers;
    ASSERT_TRUE(std::regex_match(journal.events[0], numbers, form)) << journal.events[0];
    EXPECT_LE(std::stoi(numbers[1]) + std::stoi(numbers[3]), 640);
    EXPECT_LE(std::stoi(numbers[2]) + std::stoi(numbers[4]), 384);
    EXPECT_GT(std::stoi(numbers[5]), 0);
}

TEST_F(AlgoKit, TellsNothingOfASceneInWhichNothingMoves) {
    start({"--source", "videotestsrc is-live=true pattern=smpte ! video/x-raw,framerate=15/1"});
    ASSERT_EQ(osd_update_timestamp(0), 0);
    const int64_t before = status_number("/detection/relearnt");
    ASSERT_TRUE(pass_frames(40));
    ASSERT_EQ(set_video_Vflip(), 0);
    ASSERT_TRUE(eventually([&] { return status_number("/detection/relearnt") > before; }));
    ASSERT_EQ(osd_display_track(100, 100, 200, 100), 0);
    ASSERT_TRUE(pass_frames(20));
    ASSERT_EQ(enable_wdr(), 0);
    ASSERT_EQ(osd_destory_track(), 0);
    ASSERT_TRUE(pass_frames(20));
    ASSERT_EQ(set_isp_dnmode(1), 0);
    ASSERT_EQ(control_ir_lamp(1), 0);
    ASSERT_TRUE(pass_frames(40));
    EXPECT_EQ(events(), 0U);
    EXPECT_GT(status_number("/detection/frames"), 10);
}

TEST_F(AlgoKit, TellsAbnormalSoundAboveTheThreshold) {
    start({"--source", "videotestsrc is-live=true pattern=black"});
    board::BoardCtl control;
    ASSERT_TRUE(pass_frames(20)) << "what is there from the start is the background";
    EXPECT_EQ(events(), 0U) << "neither the voice ...";
    control.burst({-30, 300});
    ASSERT_TRUE(pass_frames(10));
    EXPECT_EQ(events(), 0U) << "... nor a soft noise";
    control.burst({-3, 1000});
    ASSERT_TRUE(eventually([] { return events("AbnormalSound level=") > 0; }));
    {
        const std::lock_guard<std::mutex> lock(journal.mutex);
        EXPECT_TRUE(std::regex_match(journal.events[0], std::regex("AbnormalSound level=9\\d threshold=90")))
            << journal.events[0];
    }
    ASSERT_EQ(set_lsd_threshold(30), 0);
    ASSERT_TRUE(eventually([] { return events("AbnormalSound level=") > 2; })) << "the voice is louder";
    EXPECT_GT(status_number("/detection/sound_events"), 2);
}

TEST_F(AlgoKit, PausesAndResumes) {
    start();
    ASSERT_TRUE(eventually([] { return events() > 0; }));
    EXPECT_EQ(oru_api_algo_stop(), 0);
    EXPECT_EQ(oru_api_algo_stop(), 0);
    const size_t before = events();
    EXPECT_EQ(status("/detection/detecting"), "false");
    ASSERT_TRUE(pass_frames(30));
    EXPECT_EQ(events(), before);
    EXPECT_EQ(oru_api_algo_start(), 0);
    EXPECT_EQ(oru_api_algo_start(), 0);
    EXPECT_TRUE(eventually([&] { return events() > before; }));
}

TEST_F(AlgoKit, TracksWithAndWithoutDetection) {
    start();
    ASSERT_TRUE(eventually([] { return events() > 0; }));
    EXPECT_EQ(directions(), 0U) << "not switched on";
    EXPECT_EQ(track_init(), 0);
    EXPECT_EQ(track_init(), 0);
    EXPECT_EQ(oru_api_algo_stop(), 0);
    ASSERT_TRUE(eventually([] { return directions() >= 3; }));
    EXPECT_EQ(track_deinit(), 0);
    EXPECT_EQ(track_deinit(), 0);
    const size_t before = directions();
    EXPECT_EQ(status("/detection/tracking"), "false");
    ASSERT_TRUE(pass_frames(30));
    EXPECT_EQ(directions(), before);
    const std::lock_guard<std::mutex> lock(journal.mutex);
    for (const TrackDirection &direction : journal.directions) {
        EXPECT_TRUE(direction.horizontal != 0 || direction.vertical != 0);
        EXPECT_LE(std::abs(direction.horizontal), 90);
        EXPECT_LE(std::abs(direction.vertical), 90);
        EXPECT_EQ(direction.reserved, 0);
    }
}

TEST_F(AlgoKit, WhatIsSetBeforeTheStartHoldsWhenItComes) {
    start_board();
    EXPECT_EQ(oru_api_algo_stop(), 0);
    set_sensitivity(1);
    EXPECT_EQ(track_init(), 0);
    EXPECT_EQ(status("/detection/tracking"), "true");
    EXPECT_EQ(oru_api_algo_init(on_event, on_track), 0);
    EXPECT_EQ(status("/detection/detecting"), "false");
    EXPECT_EQ(status("/detection/lowest"), "true");
    set_sensitivity(0);
    EXPECT_EQ(status("/detection/lowest"), "false");
    EXPECT_TRUE(eventually([] { return directions() > 0; }));
    EXPECT_EQ(events(), 0U);
    EXPECT_EQ(oru_api_algo_start(), 0);
    EXPECT_EQ(status("/detection/detecting"), "true");
}

TEST_F(AlgoKit, WithoutABoardTheStartFailsAndTrackingMayWorkLater) {
    EXPECT_NE(track_init(), 0);
    EXPECT_NE(oru_api_algo_init(on_event, on_track), 0);
    EXPECT_EQ(oru_api_algo_start(), 0);
    EXPECT_EQ(oru_api_algo_stop(), 0);
    set_sensitivity(0);
    EXPECT_EQ(track_deinit(), 0);
    start_board();
    EXPECT_EQ(track_init(), 0);
    EXPECT_TRUE(eventually([] { return directions() > 0; }));
    EXPECT_EQ(events(), 0U);
    EXPECT_NE(oru_api_algo_deinit(), 0) << "the detectors were not running";
    EXPECT_EQ(own_thread("algo_kit"), "");
}

TEST_F(AlgoKit, AfterTheEndNothingComes) {
    start();
    EXPECT_EQ(track_init(), 0);
    ASSERT_TRUE(eventually([] { return events() > 0 && directions() > 0; }));
    EXPECT_EQ(oru_api_algo_deinit(), 0);
    const size_t events_before = events();
    const size_t directions_before = directions();
    EXPECT_EQ(own_thread("algo_kit"), "");
    EXPECT_TRUE(eventually([&] { return status("/detection/detecting") == "false"; }));
    EXPECT_EQ(status("/detection/tracking"), "false");
    EXPECT_NE(oru_api_algo_deinit(), 0);
    EXPECT_NE(oru_api_algo_init(on_event, on_track), 0) << "once at most";
    EXPECT_EQ(oru_api_algo_start(), 0);
    EXPECT_NE(track_init(), 0);
    ASSERT_TRUE(pass_frames(15));
    EXPECT_EQ(events(), events_before);
    EXPECT_EQ(directions(), directions_before);
}

TEST_F(AlgoKit, RefusesParametersThatItDoesNotKnow) {
    start();
    const int32_t values[] = {0, 2, -1};
    EXPECT_NE(oru_api_algo_set_param(1, &values[0], 4), 0);
    EXPECT_NE(oru_api_algo_set_param(0, &values[0], 3), 0);
    EXPECT_NE(oru_api_algo_set_param(0, nullptr, 4), 0);
    EXPECT_NE(oru_api_algo_set_param(0, &values[1], 4), 0);
    EXPECT_NE(oru_api_algo_set_param(0, &values[2], 4), 0);
    EXPECT_EQ(status("/detection/lowest"), "false");
}

TEST_F(AlgoKit, ObeysTheBoardsSwitchesForMotion) {
    start();
    ASSERT_TRUE(eventually([] { return events("Motion x=") > 0; }));
    // Each end is counted from its own switch: the scene may have brought one by itself before.
    size_t ends = events("MotionEnd");
    EXPECT_EQ(stop_md(), 0);
    EXPECT_TRUE(eventually([&] { return events("MotionEnd") > ends; }));
    const size_t before = events("Motion x=");
    ASSERT_TRUE(pass_frames(30));
    EXPECT_EQ(events("Motion x="), before);
    EXPECT_EQ(start_md(), 0);
    EXPECT_TRUE(eventually([&] { return events("Motion x=") > before; }));
    ends = events("MotionEnd");
    EXPECT_EQ(set_md_sense(0, 4), 0);
    EXPECT_TRUE(eventually([&] { return events("MotionEnd") > ends; })) << "every region is off";
}

TEST_F(AlgoKit, ManyTurnsLeaveNothingBehind) {
    start();
    const auto cycle = [] {
        EXPECT_EQ(oru_api_algo_stop(), 0);
        EXPECT_EQ(track_init(), 0);
        EXPECT_EQ(oru_api_algo_start(), 0);
        EXPECT_EQ(track_deinit(), 0);
    };
    cycle();
    const std::string board_proc = "/proc/" + std::to_string(boardd_->pid());
    const size_t threads = entries("/proc/self/task");
    const size_t descriptors = entries("/proc/self/fd");
    const size_t board_threads = entries(board_proc + "/task");
    const size_t board_descriptors = entries(board_proc + "/fd");
    for (int i = 0; i < 300; ++i) {
        cycle();
    }
    EXPECT_EQ(entries("/proc/self/task"), threads);
    EXPECT_EQ(entries("/proc/self/fd"), descriptors);
    // The status has a connection of its own for a moment.
    EXPECT_TRUE(eventually([&] {
        return entries(board_proc + "/task") <= board_threads &&
               entries(board_proc + "/fd") <= board_descriptors;
    })) << entries(board_proc + "/task")
        << " threads, " << entries(board_proc + "/fd") << " descriptors";
}

TEST_F(AlgoKit, TheThreadBlocksAllSignalsButThoseOfAFaultOfItsOwn) {
    start();
    std::string thread; // which names itself
    ASSERT_TRUE(eventually([&] { return !(thread = own_thread("algo_kit")).empty(); }));
    const std::string line = line_of(thread + "/status", "SigBlk:");
    const uint64_t blocked = std::stoull(line.substr(line.find('\t') + 1), nullptr, 16);
    for (const int number : {SIGINT, SIGTERM, SIGALRM, SIGPIPE, SIGUSR1, SIGHUP, SIGCHLD}) {
        EXPECT_NE(blocked >> (number - 1) & 1, 0U) << number;
    }
    for (const int number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL}) {
        EXPECT_EQ(blocked >> (number - 1) & 1, 0U) << number;
    }
}

TEST_F(AlgoKit, TheEndOfTheBoardIsHarmless) {
    start();
    ASSERT_TRUE(eventually([] { return events() > 0; }));
    boardd_->signal(SIGKILL);
    boardd_->wait();
    EXPECT_TRUE(eventually([] { return own_thread("algo_kit").empty(); }));
    EXPECT_EQ(oru_api_algo_stop(), 0);
    EXPECT_EQ(oru_api_algo_start(), 0);
    EXPECT_NE(track_init(), 0);
    EXPECT_EQ(oru_api_algo_deinit(), 0);
}

TEST_F(AlgoKit, AStoppedBoardDelaysACallButDoesNotHoldIt) {
    start();
    boardd_->signal(SIGSTOP);
    EXPECT_EQ(oru_api_algo_stop(), 0);
    boardd_->signal(SIGCONT);
    EXPECT_EQ(oru_api_algo_start(), 0);
    EXPECT_TRUE(eventually([] { return events() > 0; }));
}

TEST_F(AlgoKit, OnlyOneConnectionHasTheAnalytics) {
    start();
    const uint64_t deadline_us = board::monotonic_us() + 10'000'000;
    const int fd = board::control_connect(deadline_us);
    ASSERT_GE(fd, 0);
    const auto ask = [&](uint32_t op, int32_t value, size_t bytes = 0) {
        const int32_t payload[2] = {};
        int32_t result = 1;
        const board::ControlCall call = {op, value, payload, bytes, nullptr, 0};
        EXPECT_EQ(board::control_call(fd, 1, call, deadline_us, &result), 0);
        return result;
    };
    EXPECT_EQ(ask(board::op_algo_detect, 0), -EBUSY);
    EXPECT_EQ(ask(board::op_algo_track, 1), -EBUSY);
    EXPECT_EQ(ask(board::op_algo_param, 0, 4), -EBUSY);
    EXPECT_EQ(ask(0x63, 0), -ENOSYS);
    EXPECT_EQ(oru_api_algo_deinit(), 0);
    ASSERT_TRUE(eventually([&] { return ask(board::op_algo_detect, 1) == 0; })) << "free again";
    EXPECT_EQ(status("/detection/detecting"), "true");
    EXPECT_EQ(ask(board::op_algo_detect, 2), -EINVAL);
    EXPECT_EQ(ask(board::op_algo_track, -1), -EINVAL);
    EXPECT_EQ(ask(board::op_algo_param, 1, 4), -EINVAL);
    EXPECT_EQ(ask(board::op_algo_param, 0, 8), -EINVAL);
    close(fd);
    EXPECT_TRUE(eventually([&] { return status("/detection/detecting") == "false"; }));
}

} // namespace
