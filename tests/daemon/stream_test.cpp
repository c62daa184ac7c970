// Real video through the daemon: what receivers get, and what they can do to each other (nothing).

#include "libboardav.h"
#include "support/system.h"

#include <csignal>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <time.h>

using support::eventually;
using support::Process;
using support::System;

namespace {

constexpr const char *main_path = "/run/video_mainstream";
constexpr const char *sub_path = "/run/video_substream";

class Stream : public testing::Test {
  protected:
    System system_;
};

struct Frame {
    VideoFrameInfo info;
    std::string payload;
    uint32_t skipped;
};

/* The next frame of a receiver; a failure of the test when none comes. */
Frame next(const support::ReceiverHandle &receiver) {
    shbf_event_t event;
    Frame frame{};
    const int result = shbf_rcv_next(receiver.get(), &event, 20000);
    EXPECT_EQ(result, 1);
    if (result == 1) {
        EXPECT_EQ(event.kind, SHBF_EVENT_FRAME);
        EXPECT_GE(event.frame.size, sizeof frame.info);
        std::memcpy(&frame.info, event.frame.data, sizeof frame.info);
        frame.payload.assign(static_cast<const char *>(event.frame.data) + sizeof frame.info,
                             event.frame.size - sizeof frame.info);
        frame.skipped = event.frame.skipped;
        shbf_rcv_release(receiver.get(), &event.frame);
    }
    return frame;
}

Frame next_key(const support::ReceiverHandle &receiver) {
    Frame frame = next(receiver);
    while (frame.info.is_key == 0 && !testing::Test::HasFailure()) {
        frame = next(receiver);
    }
    return frame;
}

uint64_t monotonic_us() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000 + static_cast<uint64_t>(now.tv_nsec) / 1000;
}

/* "codec WIDTHxHEIGHT frames" as a real decoder sees a raw stream; what the decoder complained of follows. */
std::string decoded(const std::string &stream, const std::string &file, const char *format) {
    std::ofstream(file) << stream;
    const auto probe =
        support::run({"ffprobe", "-v", "error", "-f", format, "-count_frames", "-show_entries",
                      "stream=codec_name,width,height,nb_read_frames", "-of", "csv=p=0:s=\\ ", file});
    return probe.output;
}

/* Some frames from a key frame on. */
std::string take(const support::ReceiverHandle &receiver, int frames) {
    std::string stream = next_key(receiver).payload;
    for (int i = 1; i < frames; ++i) {
        stream += next(receiver).payload;
    }
    return stream;
}

TEST_F(Stream, BothStreamsDecodeInTheProfilesCodecAndSize) {
    system_.start();
    EXPECT_EQ(decoded(take(support::attach(main_path), 30), system_.dir().file("main"), "hevc"),
              "hevc 640 360 30\n");
    EXPECT_EQ(decoded(take(support::attach(sub_path), 30), system_.dir().file("sub"), "h264"),
              "h264 640 360 30\n");
}

TEST_F(Stream, HeadersAreAsDocumented) {
    system_.start();
    for (const auto &[path, codec] : {std::pair{main_path, 1U}, std::pair{sub_path, 0U}}) {
        const auto receiver = support::attach(path);
        Frame previous = next(receiver);
        for (int i = 0; i < 40; ++i) {
            const Frame frame = next(receiver);
            EXPECT_EQ(frame.info.len, frame.payload.size()) << "size is len + 32";
            EXPECT_EQ(frame.info.seq, previous.info.seq + 1);
            EXPECT_GT(frame.info.timestamp_us, previous.info.timestamp_us);
            EXPECT_LE(frame.info.timestamp_us, monotonic_us()) << "one monotonic clock";
            EXPECT_LT(monotonic_us() - frame.info.timestamp_us, 10000000U);
            EXPECT_EQ(frame.info.board0, codec);
            EXPECT_EQ(frame.info.board24, 640U | 360U << 16);
            EXPECT_EQ(frame.payload.substr(0, 4), std::string("\0\0\0\1", 4));
            EXPECT_EQ(frame.skipped, 0U);
            previous = frame;
        }
    }
}

TEST_F(Stream, KeyFramesComeOnRequestOnEachVideoChannelAndOnAudio) {
    system_.start();
    const auto video = support::attach(main_path);
    for (const char *path : {main_path, sub_path, "/run/audio_in"}) {
        const auto asker = support::attach(path);
        // Right after a key frame the next one is two seconds away by itself.
        const Frame last = next_key(video);
        ASSERT_EQ(shbf_rcv_send(asker.get(), "REQ_IDR", 7), 0);
        const Frame key = next_key(video);
        EXPECT_LT(key.info.seq - last.info.seq, 20U) << path;
    }
}

TEST_F(Stream, ReceiversAreCountedAndLogged) {
    system_.start();
    const size_t from = system_.daemon->lines().size();
    auto first = support::attach(main_path);
    ASSERT_TRUE(system_.daemon->saw("info broadcaster 0 get new receiver: ", support::patience, from));
    first.reset();
    EXPECT_TRUE(system_.daemon->saw("warning broadcaster 0 receiver ", support::patience, from));
    EXPECT_TRUE(eventually([&] {
        shbf_channel_info_t info;
        return shbf_channel_query(main_path, &info, 5000) == 0 && info.receivers == 0;
    }));
}

TEST_F(Stream, AKilledReceiverCostsOthersNothing) {
    system_.start();
    const auto witness = support::attach(main_path);
    for (int round = 0; round < 3; ++round) {
        Process victim({support::program("shbf_probe"), main_path, "hold"});
        ASSERT_TRUE(victim.saw("attached"));
        ASSERT_TRUE(victim.saw("frame "));
        uint32_t seq = next(witness).info.seq;
        victim.signal(SIGKILL);
        for (int i = 0; i < 15; ++i) {
            const Frame frame = next(witness);
            EXPECT_EQ(frame.info.seq, ++seq);
            EXPECT_EQ(frame.skipped, 0U);
        }
    }
    EXPECT_TRUE(eventually([&] {
        shbf_channel_info_t info;
        return shbf_channel_query(main_path, &info, 5000) == 0 && info.receivers == 1 && info.buffers <= 1;
    })) << "everything the dead held is free";
}

TEST_F(Stream, AStoppedReceiverCostsOthersNothing) {
    system_.start();
    const auto witness = support::attach(main_path);
    Process victim({support::program("shbf_probe"), main_path, "release"});
    ASSERT_TRUE(victim.saw("frame "));
    victim.signal(SIGSTOP);
    uint32_t seq = next(witness).info.seq;
    while (!system_.daemon->saw("error receiver error: ", std::chrono::milliseconds(0))) {
        const Frame frame = next(witness);
        ASSERT_EQ(frame.info.seq, ++seq);
        ASSERT_EQ(frame.skipped, 0U);
    }
    EXPECT_TRUE(system_.daemon->saw("Resource temporarily unavailable"));
    const size_t from = victim.lines().size();
    victim.signal(SIGCONT);
    EXPECT_TRUE(victim.saw("frame ", support::patience, from + 40)) << "it is served again";
}

TEST_F(Stream, ANewProfileReachesTheStreamWithoutAnyReattachment) {
    system_.start();
    const auto main = support::attach(main_path);
    EXPECT_EQ(next_key(main).info.board24, 640U | 360U << 16);
    const char *profile = R"({"id":0,"icon":0,"cch":0,"pt":[0,0],"bps":[5,0],"fps":[10,15],"res":[1,2]})";
    ASSERT_TRUE(System::set("hot_config", profile));
    ASSERT_TRUE(system_.daemon->saw("Notify: nvram:default:hot_config"));
    ASSERT_TRUE(system_.daemon->saw("info hot_config_cb(),[" + std::string(profile) + "]"));
    EXPECT_EQ(next(main).info.board24, 640U | 360U << 16) << "the first write changes nothing at the board";
    ASSERT_TRUE(System::set("hot_status", "changing", "mem"));
    EXPECT_TRUE(eventually([] { return System::get("hot_status", "mem") == "changed"; }));
    Frame frame = next(main);
    while (frame.info.board24 != (1280U | 720U << 16) && !HasFailure()) {
        frame = next(main);
    }
    EXPECT_EQ(frame.info.seq, 0U) << "a restarted encoder counts from 0";
    EXPECT_NE(frame.info.is_key, 0U);
    std::string stream = frame.payload;
    for (int i = 1; i < 20; ++i) {
        stream += next(main).payload;
    }
    EXPECT_EQ(decoded(stream, system_.dir().file("changed"), "h264"), "h264 1280 720 20\n");
    EXPECT_TRUE(system_.daemon->saw("debug [video_stream_thread:190]>>>restart venc--------------------"));
}

TEST_F(Stream, HotStatusInAnyOtherWordDoesNothing) {
    system_.start();
    ASSERT_TRUE(System::set("hot_status", "changed", "mem"));
    ASSERT_TRUE(System::set("hot_status", "Changing", "mem"));
    ASSERT_TRUE(
        eventually([&] { return system_.daemon->count("XXXXXX, Func:hot_status_cb, x->type:11") == 2; }));
    EXPECT_EQ(system_.daemon->count("will set reload_boardav=ture"), 0U);
    EXPECT_EQ(System::get("hot_status", "mem"), "Changing");
}

TEST_F(Stream, LostFramesAreFollowedByAKeyFrame) {
    system_.start();
    const auto main = support::attach(main_path);
    // Right after a key frame the next one is two seconds away by itself.
    const uint32_t last = next_key(main).info.seq;
    ASSERT_EQ(support::run({support::program("boardctl"), "lose", "0", "1"}).exit_code, 0);
    EXPECT_LT(next_key(main).info.seq - last, 20U);
}

TEST_F(Stream, EmptyFramesAndShortFailuresAreWaitedOut) {
    system_.start();
    const auto main = support::attach(main_path);
    for (const char *fault : {"empty", "fail"}) {
        ASSERT_EQ(support::run({support::program("boardctl"), fault, "0", "50"}).exit_code, 0);
        next_key(main);
        for (int i = 0; i < 20; ++i) {
            next(main);
        }
    }
    EXPECT_EQ(system_.daemon->count("video error"), 0U);
}

TEST_F(Stream, TheStoreMayRestartWhileVideoRuns) {
    system_.start();
    system_.store->signal(SIGKILL);
    system_.store->wait();
    const auto main = support::attach(main_path);
    next(main);
    system_.start_store();
    const size_t from = system_.daemon->lines().size();
    ASSERT_TRUE(eventually([&] {
        return System::set("hot_config", support::small_profile) &&
               system_.daemon->saw("Notify: nvram:default:hot_config", std::chrono::milliseconds(200), from);
    }));
    next(main);
}

} // namespace
