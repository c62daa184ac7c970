// The audio capture thread: from the microphone's block to the published message, and what happens when none
// comes.

#include "media/audio_stream.h"

#include "media/channels.h"
#include "script/daemon_test.h"
#include "settings/device_status.h"

#include <algorithm>
#include <csignal>
#include <cstring>

namespace {

/* What the microphone answers once. */
struct Answer {
    int32_t result;
    uint32_t len;
    uint64_t timestamp_us;
};

using Answers = std::vector<Answer>;

constexpr Answer block = {0, 10, 1};
constexpr Answer failure = {-1, 10, 1};
constexpr Answer empty = {0, 0, 1};

Answers times(size_t count, Answer answer) {
    return Answers(count, answer);
}

Answers operator+(Answers first, const Answers &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

class AudioStream : public DaemonTest {
  protected:
    AudioStream() {
        shbf_init(channel_audio_in);
        media_channels[channel_audio_in].receivers = 1;
        script.journal.clear();
    }

    /* Runs the thread's body over these answers of the microphone; at the last the run flag is cleared. */
    void run(const Answers &answers) {
        device_status.running = 1;
        size_t next = 0;
        script.get_audio_stream = [&](uint8_t *payload, uint32_t capacity, AudioFrameInfo *info) {
            const Answer &answer = answers.at(next++);
            if (next == answers.size()) {
                device_status.running = 0;
            }
            *info = {0xdddddddd, 5, 6, 7, answer.timestamp_us, answer.len, 8};
            memset(payload, 0x5a, std::min(answer.len, capacity));
            return answer.result;
        };
        EXPECT_EQ(fetch_aduio_thread(nullptr), nullptr);
        EXPECT_EQ(next, answers.size());
    }

    /* Numbers of the blocks that were published, in order. */
    std::vector<uint32_t> published() const {
        std::vector<uint32_t> result;
        for (const script::Buffer *buffer : script.buffers) {
            if (buffer->taken) {
                uint32_t seq = 0;
                memcpy(&seq, buffer->bytes.data(), sizeof seq);
                result.push_back(seq);
            }
        }
        return result;
    }

    size_t reports() const { return script.count("report_stat_object"); }
    Entries rates() const {
        Entries result;
        for (const std::string &entry : script.entries("info: fetch_aduio_thread(), fps")) {
            result.push_back(entry.substr(entry.find("fps")));
        }
        return result;
    }

    // ---- pieces of the journal ----

    static Entries beginning() { return {"prctl(PR_SET_NAME, fetch_audio)"}; }
    static Entries fetched() { return {"shbfev_brd_alloc(/run/audio_in, 1312)", "get_audio_stream(1280)"}; }
    static Entries sent(size_t buffer, uint32_t len) {
        return {script::format("shbf_set_size(buffer %zu, %u)", buffer, len + 32),
                script::format("shbfev_brd_broadcast(/run/audio_in, buffer %zu)", buffer), "usleep(25000)"};
    }
    static Entries dropped(size_t buffer) {
        return {script::format("shbf_free(buffer %zu)", buffer), "usleep(100000)"};
    }
    static Entries gives_up(size_t buffer) {
        return {script::format("shbf_free(buffer %zu)", buffer),
                R"(report_stat_object(strell_v2.err {"type":2}))",
                script::format("kill(self, %d)", SIGINT),
                "log: strell:audio kill ret=0",
                "sleep(10)",
                "usleep(100000)"};
    }
    static Entries first_rate(const char *rate) {
        return {std::string("log: fetch_aduio_thread(), fps: ") + rate + "\n"};
    }
};

// ---- blocks ----

TEST_F(AudioStream, PublishesBlockAfterBlockAtItsPace) {
    run({{0, 10, 1000000}, {0, 1280, 2}, {3, 1, 3}});
    EXPECT_EQ(journal(), joined({beginning(), fetched(), first_rate("1200.000000"), sent(1, 10), fetched(),
                                 sent(2, 1280), fetched(), sent(3, 1)}));
}

TEST_F(AudioStream, NumbersBlocksFromOne) {
    run(times(3, block));
    EXPECT_EQ(published(), (std::vector<uint32_t>{1, 2, 3}));
}

TEST_F(AudioStream, PutsTheHeaderWithItsOwnNumberInFrontOfThePayload) {
    const uint8_t *payload_at = nullptr;
    AudioFrameInfo header;
    memset(&header, 0x81, sizeof header);
    header.len = 300;
    script.get_audio_stream = [&](uint8_t *payload, uint32_t, AudioFrameInfo *info) {
        device_status.running = 0;
        payload_at = payload;
        *info = header;
        memset(payload, 0x5a, 300);
        return 0;
    };
    fetch_aduio_thread(nullptr);
    ASSERT_EQ(script.buffers.size(), 1U);
    const script::Buffer &buffer = *script.buffers[0];
    EXPECT_EQ(payload_at, static_cast<const uint8_t *>(buffer.address) + 32);
    ASSERT_EQ(buffer.bytes.size(), 332U);
    header.seq = 1;
    EXPECT_EQ(memcmp(buffer.bytes.data(), &header, sizeof header), 0);
    EXPECT_TRUE(std::all_of(buffer.bytes.begin() + 32, buffer.bytes.end(),
                            [](uint8_t byte) { return byte == 0x5a; }));
}

TEST_F(AudioStream, DoesNotWaitForAnOwnerNorForThePower) {
    device_status.bind_status = 0;
    device_status.power = 0;
    run({block});
    EXPECT_EQ(published(), (std::vector<uint32_t>{1}));
}

TEST_F(AudioStream, NumbersBlocksThatNobodyReceives) {
    media_channels[channel_audio_in].receivers = 0;
    script.when("shbf_free(buffer 2)", [] { media_channels[channel_audio_in].receivers = 1; });
    run(times(3, block));
    EXPECT_EQ(published(), (std::vector<uint32_t>{3}));
    EXPECT_EQ(reports(), 0U);
}

TEST_F(AudioStream, DoesNothingWhenItHasNotToRun) {
    device_status.running = 0;
    fetch_aduio_thread(nullptr);
    EXPECT_EQ(script.journal, beginning());
}

// ---- the rate ----

TEST_F(AudioStream, LogsTheRateBeforeBlocks1And1201And2401) {
    Answers answers;
    for (uint64_t i = 0; i < 2401; ++i) {
        answers.push_back({0, 10, 40000 * (i + 1)});
    }
    std::vector<size_t> blocks_before;
    for (size_t nth = 1; nth <= 3; ++nth) {
        script.when(
            "info: fetch_aduio_thread(), fps", [&] { blocks_before.push_back(published().size()); }, nth);
    }
    run(answers);
    EXPECT_EQ(blocks_before, (std::vector<size_t>{0, 1200, 2400}));
    EXPECT_EQ(rates(), (Entries{"fps: 30000.000000\n", "fps: 25.000000\n", "fps: 25.000000\n"}));
}

TEST_F(AudioStream, MeasuresTheRateOfBlocksThatCameNotOfFailures) {
    run(times(1, {0, 10, 1000000}) + times(100, failure) + times(1199, block) + times(1, {0, 10, 49000000}));
    EXPECT_EQ(rates(), (Entries{"fps: 1200.000000\n", "fps: 25.000000\n"}));
}

TEST_F(AudioStream, LogsARateWithoutAnyTimeFourCharactersWide) {
    run({{0, 10, 0}});
    EXPECT_EQ(rates(), (Entries{"fps:  inf\n"}));
}

// ---- rests ----

TEST_F(AudioStream, RestsWhileAProfileIsAppliedAndNumbersOnWithoutAGap) {
    script.when("usleep(25000)", [] { device_status.reload_boardav = 1; });
    script.when(
        "sleep(1)", [] { device_status.reload_boardav = 0; }, 3);
    run(times(2, block));
    EXPECT_EQ(journal(), joined({beginning(),
                                 fetched(),
                                 first_rate("1200000000.000000"),
                                 sent(1, 10),
                                 {"sleep(1)", "sleep(1)", "sleep(1)"},
                                 fetched(),
                                 sent(2, 10)}));
    EXPECT_EQ(published(), (std::vector<uint32_t>{1, 2}));
}

TEST_F(AudioStream, LogsEachTimeThereIsNoBuffer) {
    script.alloc_fails = true;
    script.when(
        "usleep(10000)", [this] { script.alloc_fails = false; }, 2);
    run({block});
    const Entries lost = {"shbfev_brd_alloc(/run/audio_in, 1312)",
                          "log: fetch_aduio_thread(), 310, shbfev_alloc\n", "usleep(10000)"};
    EXPECT_EQ(journal(),
              joined({beginning(), lost, lost, fetched(), first_rate("1200000000.000000"), sent(1, 10)}));
}

TEST_F(AudioStream, WithoutAChannelLogsThatThereIsNoBuffer) {
    media_channels[channel_audio_in].broadcaster = nullptr;
    script.when("usleep(10000)", [] { device_status.running = 0; });
    fetch_aduio_thread(nullptr);
    EXPECT_EQ(journal(),
              joined({beginning(), {"log: fetch_aduio_thread(), 310, shbfev_alloc\n", "usleep(10000)"}}));
}

// ---- a microphone that fails ----

TEST_F(AudioStream, Bears261FailuresInARowSilently) {
    run(times(261, failure));
    Entries expected = beginning();
    for (size_t i = 1; i <= 261; ++i) {
        expected = joined({expected, fetched(), dropped(i)});
    }
    EXPECT_EQ(journal(), expected);
}

TEST_F(AudioStream, GivesUpAtThe262ndFailureAndAtEveryOneAfterIt) {
    run(times(264, failure));
    const Entries expected =
        joined({fetched(), gives_up(262), fetched(), gives_up(263), fetched(), gives_up(264)});
    const Entries lines = journal();
    EXPECT_EQ(Entries(lines.end() - static_cast<ptrdiff_t>(expected.size()), lines.end()), expected);
    EXPECT_EQ(reports(), 3U);
}

TEST_F(AudioStream, NamesTheResultOfTheKill) {
    script.kill_result = -1;
    run(times(262, failure));
    const Entries lines = journal();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "log: strell:audio kill ret=-1"), 1);
}

TEST_F(AudioStream, CountsABlockWithoutContentAsAFailure) {
    run(times(130, failure) + times(132, empty));
    EXPECT_EQ(reports(), 1U);
    EXPECT_EQ(published(), std::vector<uint32_t>{});
}

TEST_F(AudioStream, CountsEveryNegativeResultAsAFailure) {
    run(times(130, {-2, 10, 1}) + times(132, {INT32_MIN, 10, 1}));
    EXPECT_EQ(reports(), 1U);
    EXPECT_EQ(published(), std::vector<uint32_t>{});
}

TEST_F(AudioStream, TakesALengthThatIsNegativeAsAWordForNone) {
    script.get_audio_stream = [](uint8_t *, uint32_t, AudioFrameInfo *info) {
        device_status.running = 0;
        *info = {};
        info->len = 0x80000000;
        return 0;
    };
    fetch_aduio_thread(nullptr);
    EXPECT_EQ(script.journal, joined({beginning(), fetched(), dropped(1)}));
}

TEST_F(AudioStream, ForgetsFailuresAtABlock) {
    run(times(261, failure) + times(1, block) + times(261, empty));
    EXPECT_EQ(reports(), 0U);
}

TEST_F(AudioStream, RemembersFailuresOverARestAndWithoutABuffer) {
    script.when(
        "usleep(100000)",
        [this] {
            device_status.reload_boardav = 1;
            script.alloc_fails = true;
        },
        261);
    script.when("sleep(1)", [] { device_status.reload_boardav = 0; });
    script.when("usleep(10000)", [this] { script.alloc_fails = false; });
    run(times(262, failure));
    EXPECT_EQ(reports(), 1U);
}

TEST_F(AudioStream, EndsWhenItsOwnKillHasClearedTheRunFlag) {
    script.get_audio_stream = [](uint8_t *, uint32_t, AudioFrameInfo *) { return -1; };
    script.when("kill(self", [] { device_status.running = 0; });
    fetch_aduio_thread(nullptr);
    EXPECT_EQ(script.count("kill("), 1U);
    EXPECT_EQ(script.journal.back(), "usleep(100000)");
}

TEST_F(AudioStream, BeginsItsNumbersAnewWithANewThread) {
    run(times(2, block));
    run(times(2, block));
    EXPECT_EQ(published(), (std::vector<uint32_t>{1, 2, 1, 2}));
}

} // namespace
