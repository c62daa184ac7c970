// What receivers and players can do to the daemon while both streams run, and what they cannot: cost anybody
// a frame.

#include "daemon/abuse_fixture.h"
#include "daemon/frames.h"
#include "daemon/sound.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using daemon_test::Samples;
using support::eventually;

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char *jpeg_path = "/run/jpeg_snap";
constexpr const char *raw_path = "/run/video_rawstream";
constexpr size_t raw_header_bytes = 64;
constexpr size_t raw_bytes = 368640;

/* Waits for room when the daemon is behind. */
bool send(const support::ReceiverHandle &player, const std::string &message) {
    int32_t result = -EAGAIN;
    return eventually([&] {
               result = shbf_rcv_send(player.get(), message.data(), static_cast<uint32_t>(message.size()));
               return result != -EAGAIN;
           }) &&
           result == 0;
}

// ---- sound faster than it is played ----

/* Two seconds of one value, which tells messages apart when they are heard. */
constexpr size_t message_samples = size_t{2} * daemon_test::camera_rate_hz;

std::string message_of(int16_t value) {
    const Samples samples(message_samples, value);
    return {reinterpret_cast<const char *>(samples.data()), samples.size() * sizeof(int16_t)};
}

/* The values of the messages in a sound, in order. */
std::vector<int16_t> values_of(Samples sound) {
    sound.erase(std::unique(sound.begin(), sound.end()), sound.end());
    return sound;
}

class Backlog : public daemon_test::Abuse {
  protected:
    /* Waits until the loop has taken all messages of this player, and all that it says about them is known:
     * it says so of a control word behind them. */
    bool are_taken(const support::ReceiverHandle &player) {
        ++words_;
        return send(player, "SOUND_UNBAN") &&
               eventually([&] { return system_.daemon->count("enable speaker, dn_mode is 0 ") == words_; });
    }

  private:
    size_t words_ = 0;
};

TEST_F(Backlog, Of400SoundsIsThrownAwayAndWhatComesThenIsPlayed) {
    constexpr int16_t first = 100;
    constexpr int16_t last = 20000;
    ASSERT_NO_FATAL_FAILURE(watch());
    const auto player = support::attach("/run/audio_play");
    ASSERT_TRUE(send(player, message_of(first)));
    ASSERT_TRUE(eventually([] {
        return board::BoardCtl().status().find(R"("heard":0)") == std::string::npos;
    })) << "the player has taken it, and is busy for as long as it sounds";
    const auto begin = Clock::now();
    int16_t sent = 0;
    const auto send_next = [&] { return send(player, message_of(static_cast<int16_t>(first + ++sent))); };
    while (sent < 400) {
        ASSERT_TRUE(send_next());
    }
    ASSERT_TRUE(are_taken(player));
    EXPECT_EQ(system_.daemon->count("queue is full"), 0U) << "400 may wait";
    while (system_.daemon->count("warning message_queue_append(),queue is full, clear it") == 0) {
        ASSERT_TRUE(send_next());
        ASSERT_TRUE(are_taken(player));
        ASSERT_LT(sent, 500);
    }
    const auto seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    EXPECT_LE(sent, 401 + seconds / 2 + 1) << "but for those that have been played meanwhile";
    ASSERT_TRUE(send(player, message_of(last)));

    std::vector<int16_t> expected;
    for (int16_t i = 0; i <= sent - 401; ++i) {
        expected.push_back(static_cast<int16_t>(first + i));
    }
    expected.push_back(last);
    Samples sound;
    EXPECT_TRUE(eventually([&] {
        sound = daemon_test::heard(system_.dir().file("boardd_speaker.wav"));
        return sound.size() >= expected.size() * message_samples;
    }));
    EXPECT_EQ(values_of(sound), expected);
    EXPECT_EQ(system_.daemon->count("queue is full, clear it"), 1U);
    expect_no_loss();
}

class AbusePictures : public daemon_test::Abuse {};

// ---- requests for pictures ----

/* Whether a whole picture comes within some seconds. */
bool picture_comes(const char *path, const support::ReceiverHandle &receiver) {
    constexpr int32_t some_seconds_ms = 5000;
    const auto bytes = daemon_test::frame_within(receiver, some_seconds_ms);
    if (path == raw_path) {
        return bytes && bytes->size() == raw_header_bytes + raw_bytes;
    }
    return bytes && bytes->ends_with("\xff\xd9");
}

/* Asks for so many pictures, one after the other, again where there is none: memory is short at times, and a
 * machine that is busy makes the board miss a frame. How many came. */
int pictures(const char *path, int wanted) {
    const support::ReceiverHandle receiver = support::attach(path);
    int whole = 0;
    while (whole < wanted &&
           eventually([&] { return send(receiver, "REQ_SNAPSHOT_A") && picture_comes(path, receiver); })) {
        ++whole;
    }
    return whole;
}

TEST_F(AbusePictures, AFloodOfRequestsForPicturesWithOneAmongThemWhoTakesNone) {
    constexpr int requests = 10;
    ASSERT_NO_FATAL_FAILURE(watch());
    const auto greedy_jpeg = support::attach(jpeg_path);
    const auto greedy_raw = support::attach(raw_path);
    for (int i = 0; i < 30; ++i) {
        ASSERT_TRUE(send(greedy_jpeg, "REQ_SNAPSHOT_R"));
        ASSERT_TRUE(send(greedy_raw, "REQ_RAW"));
    }
    std::vector<std::future<int>> asking;
    for (int i = 0; i < 8; ++i) {
        asking.push_back(
            std::async(std::launch::async, pictures, i % 2 == 0 ? jpeg_path : raw_path, requests));
    }
    for (std::future<int> &whole : asking) {
        EXPECT_EQ(whole.get(), requests);
    }
    expect_obedience();
    expect_no_loss();
}

} // namespace
