// libboardav.h, start and end: profiles, board_system_init, board_system_exit, and a board that fails.

#include "contract/board_fixture.h"

#include <csignal>
#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <thread>
#include <unistd.h>
#include <vector>

namespace contract {
namespace {

using BoardControl = BoardTest;

/* A source that brings no picture, and no error either. */
const std::vector<std::string> mute_source = {"--source", "videotestsrc is-live=true ! valve drop=true"};

const char *const client = STRELL_BIN_DIR "/board_client";

TEST_F(BoardControl, AProfileBeforeInitIsKeptForIt) {
    start_boardd();
    const VencConfig profile = profile_of(h264_channel(128, 96), h265_channel(64, 64));
    ASSERT_EQ(control_venc_dynamically(&profile), 0);
    EXPECT_EQ(status("/phase"), "idle");
    ASSERT_EQ(board_system_init(0), 0);
    EXPECT_EQ(next_frame(0).info.board24, 128U | 96U << 16);
    EXPECT_EQ(next_frame(1).info.board24, 64U | 64U << 16);
}

TEST_F(BoardControl, TheLastProfileBeforeInitCounts) {
    start_boardd();
    const VencConfig first = profile_of(h264_channel(128, 96), h265_channel(64, 64));
    const VencConfig last = profile_of(h265_channel(320, 180), h265_channel(64, 64));
    ASSERT_EQ(control_venc_dynamically(&first), 0);
    ASSERT_EQ(control_venc_dynamically(&last), 0);
    ASSERT_EQ(board_system_init(0), 0);
    EXPECT_EQ(next_frame(0).info.board24, 320U | 180U << 16);
}

TEST_F(BoardControl, TheProfileIsCopied) {
    start_boardd();
    VencConfig profile = profile_of(h264_channel(128, 96), h265_channel(64, 64));
    ASSERT_EQ(control_venc_dynamically(&profile), 0);
    profile = VencConfig{};
    ASSERT_EQ(board_system_init(0), 0);
    EXPECT_EQ(next_frame(0).info.board24, 128U | 96U << 16);
}

TEST_F(BoardControl, InitWithoutAProfileIsRefused) {
    start_boardd();
    EXPECT_LT(board_system_init(1), 0);
    EXPECT_EQ(status("/phase"), "idle");
}

TEST_F(BoardControl, InitTellsTheBoardWhetherItIsBound) {
    start_board();
    EXPECT_EQ(status("/bind_status"), "1");
    EXPECT_EQ(status("/inited"), "true");
}

TEST_F(BoardControl, InitBlocksUntilFramesAreOnTheirWay) {
    start_board();
    EXPECT_GE(status_number("/channels/0/frames"), 1);
    EXPECT_GE(status_number("/channels/1/frames"), 1);
    const Frame frame = next_frame(0);
    EXPECT_EQ(frame.info.seq, 0U) << "the first frame was missed";
}

TEST_F(BoardControl, ASecondInitIsRefusedAndTheFirstGoesOn) {
    start_board();
    EXPECT_LT(board_system_init(1), 0);
    next_frame(0);
    next_frame(1);
}

TEST_F(BoardControl, InitFailsWhenItIsClearThatNoFrameWillCome) {
    start_boardd({"--source", run_dir_.file("missing.mp4")});
    const VencConfig profile = profile_of(h265_channel(), h265_channel());
    ASSERT_EQ(control_venc_dynamically(&profile), 0);
    EXPECT_LT(board_system_init(1), 0);
    EXPECT_TRUE(boardd_->saw("missing.mp4\" failed"));
    Frame frame{};
    EXPECT_EQ(fetch(0, frame), -1);
}

TEST_F(BoardControl, InitDoesNotWaitForeverForASlowSource) {
    start_board(profile_of(h265_channel(), h264_channel()), mute_source);
    Frame frame{};
    EXPECT_EQ(fetch(0, frame), 0);
    EXPECT_EQ(frame.info.len, 0U);
}

TEST_F(BoardControl, InitFailsAsItIsToldTo) {
    start_boardd();
    const VencConfig profile = profile_of(h265_channel(), h265_channel());
    ASSERT_EQ(control_venc_dynamically(&profile), 0);
    board::BoardCtl().refuse_init(-3);
    EXPECT_EQ(board_system_init(1), -3);
    Frame frame{};
    EXPECT_EQ(fetch(0, frame), -1);
    board::BoardCtl().clear_faults();
    EXPECT_EQ(board_system_init(1), 0);
    next_frame(0);
}

struct Impossible {
    const char *name;
    int32_t channel;
    VencChannel setting;
};

void PrintTo(const Impossible &impossible, std::ostream *out) {
    *out << impossible.name;
}

class BoardProfile : public BoardTest, public testing::WithParamInterface<Impossible> {};

TEST_P(BoardProfile, ImpossibleIsRefusedAndTheBoardGoesOnAsBefore) {
    VencConfig bad = profile_of(h264_channel(), h264_channel());
    bad.channel[GetParam().channel] = GetParam().setting;
    start_boardd();
    EXPECT_LT(control_venc_dynamically(&bad), 0) << "before init";
    const VencConfig good = profile_of(h265_channel(64, 64), h265_channel(128, 128));
    ASSERT_EQ(control_venc_dynamically(&good), 0);
    ASSERT_EQ(board_system_init(1), 0);
    next_frames(0, 2);
    EXPECT_LT(control_venc_dynamically(&bad), 0) << "while running";
    const Frame frame = next_frame(0);
    EXPECT_EQ(frame.info.board24, 64U | 64U << 16);
    EXPECT_EQ(frame.info.seq, 2U) << "the encoder was restarted";
    EXPECT_EQ(status("/channels/1/width"), "128");
}

INSTANTIATE_TEST_SUITE_P(Settings, BoardProfile,
                         testing::Values(Impossible{"NoSize", 0, {1, 0, 300000, 15, 0, 0}},
                                         Impossible{"NoSizeOfSub", 1, {1, 0, 300000, 15, 0, 0}},
                                         Impossible{"OddWidth", 0, {1, 0, 300000, 15, 321, 180}},
                                         Impossible{"OddHeight", 0, {1, 0, 300000, 15, 320, 181}},
                                         Impossible{"TooWide", 0, {1, 0, 300000, 15, 2562, 1440}},
                                         Impossible{"TooHigh", 0, {1, 0, 300000, 15, 2560, 1442}},
                                         Impossible{"TooNarrow", 0, {1, 0, 300000, 15, 62, 64}},
                                         Impossible{"NegativeSize", 0, {1, 0, 300000, 15, -320, -180}},
                                         Impossible{"NoRate", 0, {1, 0, 300000, 0, 320, 180}},
                                         Impossible{"TooFast", 0, {1, 0, 300000, 31, 320, 180}},
                                         Impossible{"NoBits", 0, {1, 0, 0, 15, 320, 180}},
                                         Impossible{"TooManyBits", 0, {1, 0, 8000001, 15, 320, 180}},
                                         Impossible{"UnknownEncoding", 0, {2, 0, 300000, 15, 320, 180}},
                                         Impossible{"NegativeEncoding", 1, {-1, 0, 300000, 15, 320, 180}}),
                         [](const auto &test) { return test.param.name; });

TEST_F(BoardControl, NoProfileAtAllIsRefused) {
    start_boardd();
    EXPECT_LT(control_venc_dynamically(nullptr), 0);
    const VencConfig zero{};
    EXPECT_LT(control_venc_dynamically(&zero), 0);
}

TEST_F(BoardControl, AProfileIsRefusedAsToldAndTheBoardGoesOn) {
    start_board();
    board::BoardCtl().refuse_profile(-7);
    const VencConfig other = profile_of(h264_channel(128, 96), h265_channel(64, 64));
    EXPECT_EQ(control_venc_dynamically(&other), -7);
    EXPECT_EQ(next_frame(0).info.board24, 320U | 180U << 16);
    board::BoardCtl().clear_faults();
    EXPECT_EQ(control_venc_dynamically(&other), 0);
}

/* Frames of one encoder run: those before `seq` began at 0 again are dropped. */
std::vector<Frame> after_restart(const std::function<Frame()> &next, size_t count) {
    std::vector<Frame> frames = {next()};
    for (int i = 0; i < 200 && frames[0].info.seq != 0; ++i) {
        frames[0] = next();
    }
    while (frames.size() < count) {
        frames.push_back(next());
    }
    return frames;
}

TEST_F(BoardControl, ANewProfileRestartsTheChangedChannelWithAKeyFrame) {
    start_board(profile_of(h265_channel(320, 180), h264_channel(160, 90)));
    next_frames(0, 5);
    const VencConfig changed = profile_of(h264_channel(256, 144), h264_channel(160, 90));
    ASSERT_EQ(control_venc_dynamically(&changed), 0);
    const std::vector<Frame> frames = after_restart([&] { return next_frame(0); }, 15);
    EXPECT_EQ(frames[0].info.seq, 0U);
    EXPECT_NE(frames[0].info.is_key, 0U);
    EXPECT_EQ(frames[0].info.board0, 0U);
    EXPECT_EQ(frames[0].info.board24, 256U | 144U << 16);
    EXPECT_EQ(decoded(frames, run_dir_), "h264,256,144,15");
}

TEST_F(BoardControl, ANewProfileLeavesTheOtherChannelAlone) {
    start_board(profile_of(h265_channel(320, 180), h264_channel(160, 90)));
    std::vector<Frame> frames = next_frames(1, 3);
    const VencConfig changed = profile_of(h264_channel(256, 144), h264_channel(160, 90));
    ASSERT_EQ(control_venc_dynamically(&changed), 0);
    for (Frame &frame : next_frames(1, 20)) {
        frames.push_back(std::move(frame));
    }
    for (size_t i = 0; i < frames.size(); ++i) {
        EXPECT_EQ(frames[i].info.seq, i);
    }
    EXPECT_EQ(decoded(frames, run_dir_), "h264,160,90,23");
}

TEST_F(BoardControl, TheSameProfileRestartsNothing) {
    start_board();
    next_frames(0, 3);
    const VencConfig same = profile_of(h265_channel(), h264_channel(160, 90));
    ASSERT_EQ(control_venc_dynamically(&same), 0);
    EXPECT_EQ(next_frame(0).info.seq, 3U);
}

TEST_F(BoardControl, EveryCallFailsWithoutABoard) {
    const VencConfig profile = profile_of(h265_channel(), h265_channel());
    Frame frame{};
    EXPECT_EQ(control_venc_dynamically(&profile), -1);
    EXPECT_EQ(board_system_init(1), -1);
    EXPECT_EQ(fetch(0, frame), -1);
    EXPECT_EQ(req_IDR_one(0), -1);
    EXPECT_EQ(req_IDR(), -1);
    board_system_exit();
}

TEST_F(BoardControl, StreamCallsFailBeforeInit) {
    start_boardd();
    Frame frame{};
    EXPECT_EQ(fetch(0, frame), -1);
    EXPECT_EQ(req_IDR_one(0), -1);
    EXPECT_EQ(req_IDR(), -1);
}

/* Every call that libboardav has so far fails with -1. */
void expect_all_fail(const std::function<int32_t()> &fetch_once) {
    const VencConfig profile = profile_of(h265_channel(), h265_channel());
    EXPECT_EQ(fetch_once(), -1);
    EXPECT_EQ(control_venc_dynamically(&profile), -1);
    EXPECT_EQ(req_IDR_one(0), -1);
    EXPECT_EQ(req_IDR(), -1);
    EXPECT_EQ(board_system_init(1), -1);
}

TEST_F(BoardControl, AKilledBoardFailsEveryCallUntilTheProcessStartsAnew) {
    start_board();
    next_frame(0);
    boardd_->signal(SIGKILL);
    ASSERT_TRUE(boardd_->wait());
    Frame frame{};
    expect_all_fail([&] { return fetch(0, frame); });
    start_boardd();
    expect_all_fail([&] { return fetch(0, frame); });
}

TEST_F(BoardControl, AKilledBoardIsNoticedByTheStreamAlone) {
    start_board();
    next_frame(0);
    boardd_->signal(SIGKILL);
    ASSERT_TRUE(boardd_->wait());
    Frame frame{};
    EXPECT_EQ(fetch(1, frame), -1);
    EXPECT_EQ(fetch(0, frame), -1);
}

TEST_F(BoardControl, AHungBoardCostsAControlCallItsTimeAndTheStreamNothing) {
    start_board();
    boardd_->signal(SIGSTOP);
    const uint64_t before_us = monotonic_us();
    EXPECT_LT(req_IDR(), 0);
    EXPECT_GT(monotonic_us() - before_us, 1'500'000U) << "it did not wait for the hardware";
    Frame frame{};
    EXPECT_TRUE(support::eventually([&] { return fetch(0, frame) == 0 && frame.info.len == 0; }));
    boardd_->signal(SIGCONT);
    EXPECT_TRUE(support::eventually([&] { return req_IDR() == 0; }));
    EXPECT_TRUE(support::eventually([&] { return fetch(0, frame) == 0 && frame.info.len > 0; }));
}

TEST_F(BoardControl, ExitShutsTheBoardDown) {
    start_board();
    next_frame(0);
    board_system_exit();
    EXPECT_TRUE(support::eventually([&] { return status("/phase") == "idle"; }));
    Frame frame{};
    expect_all_fail([&] { return fetch(0, frame); });
}

TEST_F(BoardControl, ExitBeforeInitPreventsIt) {
    start_boardd();
    const VencConfig profile = profile_of(h265_channel(), h265_channel());
    ASSERT_EQ(control_venc_dynamically(&profile), 0);
    board_system_exit();
    EXPECT_EQ(board_system_init(1), -1);
    EXPECT_EQ(status("/phase"), "idle");
}

TEST_F(BoardControl, ExitKeepsErrno) {
    boardd_.emplace();
    const VencConfig profile = profile_of(h265_channel(), h265_channel());
    ASSERT_EQ(control_venc_dynamically(&profile), 0);
    boardd_->signal(SIGKILL);
    ASSERT_TRUE(boardd_->wait());
    errno = E2BIG;
    board_system_exit();
    EXPECT_EQ(errno, E2BIG);
}

TEST_F(BoardControl, ExitFromASignalHandlerWhileInitIsInProgress) {
    start_boardd(mute_source);
    support::Process process({client, "exit_on_term"});
    ASSERT_TRUE(process.saw("init begins"));
    ASSERT_TRUE(support::eventually([&] { return status("/phase") == "starting"; }));
    process.signal(SIGTERM);
    ASSERT_TRUE(process.saw("exit returned")) << process.output();
    EXPECT_EQ(process.exit_code(), 255);
    EXPECT_EQ(process.count("init ended"), 0U) << process.output();
    EXPECT_TRUE(support::eventually([&] { return status("/phase") == "idle"; }));
}

TEST_F(BoardControl, ExitWithoutABoardDoesNothing) {
    board_system_exit();
    board_system_exit();
    EXPECT_LT(board_system_init(1), 0);
    board_system_exit();
}

void exit_on_signal(int number) {
    if (number == SIGUSR1) {
        raise(SIGUSR2); // one within another
    }
    board_system_exit();
}

TEST_F(BoardControl, ExitAnyNumberOfTimesOnSeveralThreadsAndWithinItself) {
    start_board();
    std::signal(SIGUSR1, exit_on_signal);
    std::signal(SIGUSR2, exit_on_signal);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int times = 0; times < 50; ++times) {
                raise(SIGUSR1);
            }
        });
    }
    Frame frame{};
    EXPECT_TRUE(support::eventually([&] { return fetch(0, frame) == -1; })) << "a call in progress";
    for (std::thread &thread : threads) {
        thread.join();
    }
    board_system_exit();
    std::signal(SIGUSR1, SIG_DFL);
    std::signal(SIGUSR2, SIG_DFL);
    EXPECT_TRUE(support::eventually([&] { return status("/phase") == "idle"; }));
    EXPECT_TRUE(boardd_->saw("shut down by the daemon: idle"));
}

TEST_F(BoardControl, ExitFromAnotherThreadEndsAnInitInProgress) {
    start_boardd(mute_source);
    const VencConfig profile = profile_of(h265_channel(), h265_channel());
    ASSERT_EQ(control_venc_dynamically(&profile), 0);
    int32_t result = 0;
    std::thread init([&] { result = board_system_init(1); });
    EXPECT_TRUE(support::eventually([&] { return status("/phase") == "starting"; }));
    board_system_exit();
    init.join();
    EXPECT_EQ(result, -1);
}

TEST_F(BoardControl, ADeadDaemonLeavesAnIdleBoardAndTheNextOneStartsIt) {
    start_boardd();
    support::Process first({client, "run"});
    ASSERT_TRUE(first.saw("running")) << first.output();
    EXPECT_EQ(status("/phase"), "running");
    first.signal(SIGKILL);
    EXPECT_TRUE(support::eventually([&] { return status("/phase") == "idle"; }));
    EXPECT_EQ(status("/profile"), "false") << "the profile of a dead daemon was kept";
    const VencConfig profile = profile_of(h265_channel(), h265_channel());
    ASSERT_EQ(control_venc_dynamically(&profile), 0);
    ASSERT_EQ(board_system_init(1), 0);
    EXPECT_EQ(next_frame(0).info.seq, 0U);
}

TEST_F(BoardControl, TheBoardBelongsToTheFirstDaemon) {
    start_boardd();
    support::Process first({client, "run"});
    ASSERT_TRUE(first.saw("running")) << first.output();
    const VencConfig profile = profile_of(h265_channel(), h265_channel());
    EXPECT_LT(control_venc_dynamically(&profile), 0);
    EXPECT_LT(board_system_init(1), 0);
    EXPECT_EQ(status("/phase"), "running");
}

TEST_F(BoardControl, LeavesNoDescriptorToAProgramThatIsStarted) {
    start_board();
    DIR *directory = opendir("/proc/self/fd");
    ASSERT_NE(directory, nullptr);
    int sockets = 0;
    while (const dirent *entry = readdir(directory)) {
        const std::string link = std::string("/proc/self/fd/") + entry->d_name;
        char target[100] = "";
        if (readlink(link.c_str(), target, sizeof target - 1) > 0 &&
            std::string(target).starts_with("socket:")) {
            ++sockets;
            EXPECT_NE(fcntl(std::stoi(entry->d_name), F_GETFD) & FD_CLOEXEC, 0) << link;
        }
    }
    closedir(directory);
    EXPECT_GE(sockets, 3) << "control socket and two channels";
}

TEST_F(BoardControl, RunsNoThreadOfItsOwn) {
    const auto threads = [] {
        int count = 0;
        DIR *directory = opendir("/proc/self/task");
        while (readdir(directory) != nullptr) {
            ++count;
        }
        closedir(directory);
        return count;
    };
    start_boardd();
    const int before = threads();
    const VencConfig profile = profile_of(h265_channel(), h265_channel());
    ASSERT_EQ(control_venc_dynamically(&profile), 0);
    ASSERT_EQ(board_system_init(1), 0);
    next_frame(0);
    EXPECT_EQ(threads(), before);
}

} // namespace
} // namespace contract
