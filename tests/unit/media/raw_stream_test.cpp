// The thread that publishes every raw frame.

#include "media/raw_stream.h"

#include "media/channels.h"
#include "script/daemon_test.h"
#include "settings/device_status.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

constexpr RawFrameInfo a_frame = {640, 384, 0, 7, 300, 20, 24, 28, 5000000000};

class RawStream : public DaemonTest {
  protected:
    RawStream() {
        shbf_init(channel_raw_stream);
        media_channels[channel_raw_stream].receivers = 1;
        script.journal.clear();
    }

    /* Runs the thread's body over these frames; at the last the run flag is cleared. */
    void run(const std::vector<RawFrameInfo> &frames, int32_t result = 0) {
        device_status.running = 1;
        size_t next = 0;
        script.get_raw_frame = [&](uint8_t *payload, uint32_t capacity, RawFrameInfo *info) {
            *info = frames.at(next++);
            if (next == frames.size()) {
                device_status.running = 0;
            }
            payload_at_ = payload;
            std::memset(payload, 0x5a, std::min(info->len, capacity));
            return result;
        };
        EXPECT_EQ(rawsnap_thread(nullptr), nullptr);
        EXPECT_EQ(next, frames.size());
    }

    static Entries beginning() {
        return {script::format("pthread_detach(%lu)", static_cast<unsigned long>(pthread_self())),
                "prctl(PR_SET_NAME, rawsnap)"};
    }
    static Entries fetched() {
        return {"shbfev_brd_alloc(/run/video_rawstream, 368768)", "get_raw_frame(368640, 1)"};
    }
    static Entries sent(size_t buffer, const std::string &words, uint32_t size) {
        return {"info: FrameInfo is {" + words + "}\n",
                script::format("shbf_set_size(buffer %zu, %u)", buffer, size),
                script::format("shbfev_brd_broadcast(/run/video_rawstream, buffer %zu)", buffer)};
    }

    const uint8_t *payload_at_ = nullptr;
};

// ---- starting ----

TEST_F(RawStream, ThreadIsStarted) {
    pthread_t thread = 91;
    EXPECT_EQ(start_rawsnap_thread(&thread), 0);
    EXPECT_EQ(script.journal, (Entries{"pthread_create(1, default)"}));
    EXPECT_EQ(thread, 1U);
    ASSERT_EQ(script.threads.size(), 1U);
    EXPECT_EQ(script.threads[0].body, rawsnap_thread);
    EXPECT_EQ(script.threads[0].argument, nullptr);
}

TEST_F(RawStream, ThreadThatIsNotCreatedIsLoggedInTheWordsOfTheSound) {
    script.pthread_create_results = {{1, -1}};
    pthread_t thread = 91;
    EXPECT_EQ(start_rawsnap_thread(&thread), -1);
    EXPECT_EQ(script.journal,
              (Entries{"pthread_create(1, default)", "err: Create get_audio_stream error\n"}));
}

TEST_F(RawStream, APositiveResultPassesForSuccess) {
    script.pthread_create_results = {{1, EAGAIN}};
    pthread_t thread = 91;
    EXPECT_EQ(start_rawsnap_thread(&thread), 0);
    EXPECT_EQ(script.journal, (Entries{"pthread_create(1, default)"}));
}

TEST_F(RawStream, DetachesAndNamesItselfAlsoWhenItHasNotToRun) {
    device_status.running = 0;
    EXPECT_EQ(rawsnap_thread(nullptr), nullptr);
    EXPECT_EQ(script.journal, beginning());
}

// ---- frames ----

TEST_F(RawStream, PublishesFrameAfterFrameWithOneLineEachAndNoPause) {
    run({a_frame, {1, 2, 3, 4, 0, 0, 0, 0, 6}, {1, 2, 3, 5, 368640, 0, 0, 0, 18446744073709551615ULL}});
    EXPECT_EQ(script.journal, joined({beginning(), fetched(), sent(1, "640, 384, 0, 7, 300, 5000000000", 428),
                                      fetched(), sent(2, "1, 2, 3, 4, 0, 6", 128), fetched(),
                                      sent(3, "1, 2, 3, 5, 368640, 18446744073709551615", 368768)}));
}

TEST_F(RawStream, LogsItsWordsAsSignedNumbers) {
    run({{0xffffffff, 0xfffffffe, 0x80000000, 0x7fffffff, 1, 0, 0, 0, 0}});
    EXPECT_EQ(script.count("info: FrameInfo is {-1, -2, -2147483648, 2147483647, 1, 0}\n"), 1U);
}

TEST_F(RawStream, PutsTheHeaderIn128BytesInFrontAndLeavesTheOthersAsTheyWere) {
    run({a_frame});
    ASSERT_EQ(script.buffers.size(), 1U);
    const script::Buffer &buffer = *script.buffers[0];
    EXPECT_EQ(payload_at_, static_cast<const uint8_t *>(buffer.address) + 128);
    ASSERT_EQ(buffer.bytes.size(), 428U);
    EXPECT_EQ(memcmp(buffer.bytes.data(), &a_frame, 40), 0);
    const auto all_are = [&](size_t from, size_t to, uint8_t value) {
        return std::all_of(buffer.bytes.begin() + static_cast<ptrdiff_t>(from),
                           buffer.bytes.begin() + static_cast<ptrdiff_t>(to),
                           [&](uint8_t byte) { return byte == value; });
    };
    EXPECT_TRUE(all_are(40, 128, 0xcd)) << "as the allocator gave them";
    EXPECT_TRUE(all_are(128, 428, 0x5a));
}

TEST_F(RawStream, DoesNotLookAtTheResultOfTheBoard) {
    run({{0, 0, 0, 0, 0, 0, 0, 0, 0}, a_frame}, -1);
    EXPECT_EQ(script.journal, joined({beginning(), fetched(), sent(1, "0, 0, 0, 0, 0, 0", 128), fetched(),
                                      sent(2, "640, 384, 0, 7, 300, 5000000000", 428)}));
}

TEST_F(RawStream, ABoardThatWritesNoHeaderGivesAnEmptyOne) {
    size_t count = 0;
    script.get_raw_frame = [&](uint8_t *, uint32_t, RawFrameInfo *info) {
        if (++count == 1) {
            *info = a_frame;
            return 0;
        }
        device_status.running = 0;
        return -1;
    };
    rawsnap_thread(nullptr);
    EXPECT_EQ(script.entries("info: FrameInfo").back(), "info: FrameInfo is {0, 0, 0, 0, 0, 0}\n");
}

TEST_F(RawStream, WaitsNeitherForAnOwnerNorForThePower) {
    device_status.bind_status = 0;
    device_status.power = 0;
    run({a_frame});
    EXPECT_EQ(script.count("get_raw_frame(368640, 1)"), 1U);
    EXPECT_EQ(script.count("shbfev_brd_broadcast"), 1U);
}

TEST_F(RawStream, FetchesAndLogsAlsoWhatNobodyReceives) {
    media_channels[channel_raw_stream].receivers = 0;
    run({a_frame});
    EXPECT_EQ(script.count("info: FrameInfo is"), 1U);
    EXPECT_EQ(script.count("shbfev_brd_broadcast"), 0U);
    EXPECT_EQ(script.count("shbf_free(buffer 1)"), 1U);
}

// ---- rests ----

TEST_F(RawStream, FetchesNothingWhileAProfileIsApplied) {
    device_status.reload_boardav = 1;
    script.when(
        "sleep(1)", [] { device_status.reload_boardav = 0; }, 3);
    run({a_frame});
    EXPECT_EQ(script.journal, joined({beginning(),
                                      {"sleep(1)", "sleep(1)", "sleep(1)"},
                                      fetched(),
                                      sent(1, "640, 384, 0, 7, 300, 5000000000", 428)}));
}

TEST_F(RawStream, EndsWhileAProfileIsApplied) {
    device_status.reload_boardav = 1;
    script.when("sleep(1)", [] { device_status.running = 0; });
    rawsnap_thread(nullptr);
    EXPECT_EQ(script.journal, joined({beginning(), {"sleep(1)"}}));
}

TEST_F(RawStream, LogsEachTimeThereIsNoBuffer) {
    script.alloc_fails = true;
    script.when(
        "usleep(10000)", [this] { script.alloc_fails = false; }, 2);
    run({a_frame});
    const Entries lost = {"shbfev_brd_alloc(/run/video_rawstream, 368768)",
                          "log: rawsnap_thread(), 398, shbfev_alloc\n", "usleep(10000)"};
    EXPECT_EQ(journal(),
              joined({beginning(), lost, lost, fetched(), sent(1, "640, 384, 0, 7, 300, 5000000000", 428)}));
}

TEST_F(RawStream, WithoutAChannelLogsThatThereIsNoBuffer) {
    media_channels[channel_raw_stream].broadcaster = nullptr;
    script.when("usleep(10000)", [] { device_status.running = 0; });
    rawsnap_thread(nullptr);
    EXPECT_EQ(journal(),
              joined({beginning(), {"log: rawsnap_thread(), 398, shbfev_alloc\n", "usleep(10000)"}}));
}

} // namespace
