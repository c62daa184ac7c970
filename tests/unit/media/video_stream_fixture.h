/*
 * The fixture of tests about the video fetch threads: the encoder's answers, and pieces of the journal.
 */
#ifndef TESTS_UNIT_VIDEO_STREAM_FIXTURE_H
#define TESTS_UNIT_VIDEO_STREAM_FIXTURE_H

#include "media/channels.h"
#include "media/video_stream.h"
#include "script/daemon_test.h"
#include "settings/device_status.h"

#include <csignal>
#include <cstring>

namespace video {

constexpr uint32_t header_bytes = 32;

struct Row {
    int32_t channel;
    const char *name;
    const char *path;
    uint32_t capacity;
};
constexpr Row rows[] = {{0, "video0", "/run/video_mainstream", 409600},
                        {1, "video1", "/run/video_substream", 261120}};

/* What the encoder answers once. */
struct Answer {
    int32_t result;
    uint32_t len;
    uint32_t is_key;
    uint32_t seq;
    uint64_t timestamp_us;
};

constexpr Answer error = {-1, 0, 0, 0, 0};
constexpr Answer key_frame_needed = {-2, 0, 0, 0, 0};
constexpr Answer nothing = {0, 0, 0, 1, 1};

constexpr Answer frame(uint32_t seq, uint32_t is_key = 1, uint64_t timestamp_us = 1) {
    return {0, 10, is_key, seq, timestamp_us};
}

using Answers = std::vector<Answer>;

inline Answers times(size_t count, Answer answer) {
    return Answers(count, answer);
}

inline Answers operator+(Answers first, const Answers &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

class VideoStreamTest : public DaemonTest {
  protected:
    VideoStreamTest() {
        device_status.bind_status = 1;
        for (int32_t i = 0; i < 2; ++i) {
            shbf_init(i);
            media_channels[i].receivers = 1;
        }
        script.journal.clear();
    }

    /* Runs the thread's body over these answers of the encoder; at the last the run flag is cleared. */
    void run(int32_t channel, const Answers &answers) {
        device_status.running = 1;
        size_t next = 0;
        script.get_video_stream = [&](int32_t, uint8_t *payload, uint32_t, VideoFrameInfo *info) {
            const Answer &answer = answers.at(next++);
            if (next == answers.size()) {
                device_status.running = 0;
            }
            *info = {7, answer.seq, answer.timestamp_us, answer.len, answer.is_key, 8, 9};
            if (answer.result >= 0) {
                memset(payload, static_cast<int>(answer.seq), answer.len);
            }
            return answer.result;
        };
        EXPECT_EQ(video_stream_thread(&channel), nullptr);
        EXPECT_EQ(next, answers.size());
    }

    /* Sequence numbers of the frames that were published, in order. */
    std::vector<uint32_t> published() const {
        std::vector<uint32_t> result;
        for (const script::Buffer *buffer : script.buffers) {
            if (buffer->taken) {
                uint32_t seq = 0;
                memcpy(&seq, buffer->bytes.data() + 4, sizeof seq);
                result.push_back(seq);
            }
        }
        return result;
    }

    /* The ends of the lines about the rate. */
    Entries rates() const {
        Entries result;
        for (const std::string &line : journal()) {
            if (line.rfind("log: video_stream_thread(),video chn", 0) == 0) {
                result.push_back(line.substr(line.find("fps")));
            }
        }
        return result;
    }

    // ---- pieces of the journal ----

    static std::string said(const Row &row) {
        return script::format("log: shbf_index is : %d, shbf_size is %u \n", row.channel, row.capacity);
    }
    static Entries beginning(const Row &row) {
        return {script::format("prctl(PR_SET_NAME, %s)", row.name), said(row)};
    }
    static Entries fetched(const Row &row) {
        return {script::format("shbfev_brd_alloc(%s, %u)", row.path, row.capacity + header_bytes),
                script::format("get_video_stream(%d, %u)", row.channel, row.capacity)};
    }
    static Entries sent(const Row &row, size_t buffer, uint32_t len) {
        return {script::format("shbf_set_size(buffer %zu, %u)", buffer, len + header_bytes),
                script::format("shbfev_brd_broadcast(%s, buffer %zu)", row.path, buffer)};
    }
    static Entries dropped(size_t buffer) {
        return {script::format("shbf_free(buffer %zu)", buffer), "usleep(20000)"};
    }
    static Entries gives_up(const Row &row, int count) {
        return {script::format("log: video_stream_thread(),fetch chn %d video error for %d times, exit\n",
                               row.channel, count),
                script::format(R"(report_stat_object(strell_v2.err {"type":%d}))", row.channel),
                script::format("kill(self, %d)", SIGINT), "log: strell:video kill ret=0", "sleep(10)"};
    }
};

class VideoStreamOfChannel : public VideoStreamTest, public testing::WithParamInterface<Row> {
  protected:
    const Row row_ = GetParam();

    void run(const Answers &answers) { VideoStreamTest::run(row_.channel, answers); }
    size_t reports() const { return script.count("report_stat_object"); }
};

} // namespace video

#endif
