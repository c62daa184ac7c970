// What clients can do to the daemon while both streams run, and what they cannot: cost anybody a frame.

#include "board/boardctl.h"
#include "daemon/av_client.h"
#include "daemon/frames.h"
#include "daemon/sound.h"
#include "daemon/witness.h"
#include "support/system.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <sys/socket.h>
#include <vector>

using daemon_test::AvClient;
using daemon_test::Samples;
using daemon_test::Witness;
using support::eventually;
using support::System;

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char *jpeg_path = "/run/jpeg_snap";
constexpr const char *raw_path = "/run/video_rawstream";
constexpr size_t raw_header_bytes = 64;
constexpr size_t raw_bytes = 368640;

/* Is acknowledged always with 0 and does nothing. */
constexpr uint32_t fence = 0x1029;

class Abuse : public testing::Test {
  protected:
    Abuse() { system_.start({"--speaker", "wav"}); }

    /* Begins to count what the streams lose. */
    void watch() {
        main_ = std::make_unique<Witness>("/run/video_mainstream");
        sub_ = std::make_unique<Witness>("/run/video_substream");
        ASSERT_TRUE(main_->sees(2));
        ASSERT_TRUE(sub_->sees(2));
    }

    /* Both streams go on, and nothing has been lost since watch(). */
    void expect_no_loss() {
        for (const auto &[name, witness] : {std::pair{"main", main_.get()}, {"sub", sub_.get()}}) {
            EXPECT_TRUE(witness->sees(15)) << name << "\n" << system_.daemon->output().substr(0, 5000);
            EXPECT_EQ(witness->lost(), 0U) << name;
            EXPECT_EQ(witness->skipped(), 0U) << name;
            EXPECT_EQ(witness->restarts(), 0U) << name;
            RecordProperty(std::string(name) + "_frames", static_cast<int>(witness->frames()));
            RecordProperty(std::string(name) + "_lost", static_cast<int>(witness->lost()));
        }
    }

    /* The loop still does what it is asked. */
    static void expect_obedience() {
        for (const std::string value : {"on", "off"}) {
            ASSERT_TRUE(System::set("wdr", value));
            const std::string effect = value == "on" ? R"("wdr":true)" : R"("wdr":false)";
            EXPECT_TRUE(
                eventually([&] { return board::BoardCtl().status().find(effect) != std::string::npos; }));
        }
    }

    System system_;
    std::unique_ptr<Witness> main_;
    std::unique_ptr<Witness> sub_;
};

// ---- sound faster than it is played ----

/* Two seconds of one value, which tells messages apart when they are heard. */
constexpr size_t message_samples = 2 * daemon_test::camera_rate_hz;

std::string message_of(int16_t value) {
    const Samples samples(message_samples, value);
    return {reinterpret_cast<const char *>(samples.data()), samples.size() * sizeof(int16_t)};
}

bool send(const support::ReceiverHandle &player, const std::string &message) {
    int32_t result = -EAGAIN;
    return eventually([&] {
               result = shbf_rcv_send(player.get(), message.data(), static_cast<uint32_t>(message.size()));
               return result != -EAGAIN;
           }) &&
           result == 0;
}

/* The values of the messages in a sound, in order. */
std::vector<int16_t> values_of(Samples sound) {
    sound.erase(std::unique(sound.begin(), sound.end()), sound.end());
    return sound;
}

class Backlog : public Abuse {
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

// ---- the command socket ----

TEST_F(Abuse, TheEleventhClientWaitsUntilOneLeavesAndHoldsUpNobody) {
    ASSERT_NO_FATAL_FAILURE(watch());
    std::vector<std::unique_ptr<AvClient>> clients;
    for (int i = 0; i < 10; ++i) {
        clients.push_back(std::make_unique<AvClient>());
        EXPECT_EQ(clients.back()->call(fence).code, fence + 1) << "client " << i;
    }
    const AvClient eleventh;
    ASSERT_TRUE(eleventh.send(fence, {}));
    ASSERT_TRUE(system_.daemon->saw("error too many ipc client to track 10."));
    ASSERT_TRUE(eventually([&] { return system_.daemon->count("too many ipc client to track 10.") > 10; }))
        << "as long as it waits";
    for (const auto &client : clients) {
        EXPECT_EQ(client->call(fence).code, fence + 1);
    }
    expect_obedience();
    av_cmd_ack_t ack;
    EXPECT_EQ(av_cmd_read_ack(eleventh.fd(), &ack, 0), 0) << "it is not served";
    clients.front()->leave();
    EXPECT_EQ(eleventh.ack().code, fence + 1);
    EXPECT_TRUE(system_.daemon->saw("now 9 client connected"));
    EXPECT_TRUE(system_.daemon->saw("total 10 clients.", support::patience));
    expect_no_loss();
}

/* How long the abuse goes on that has no end of its own. */
Clock::duration abuse_time() {
    const char *wanted = std::getenv("STRELL_ABUSE_SECONDS"); // for a longer look than every run can afford
    return std::chrono::seconds(wanted == nullptr ? 10 : std::atoi(wanted));
}

/*
 * Bytes that are no commands, and commands that nobody has thought of: mere noise; headers that claim any
 * length; whole commands with any payload, of known and unknown codes. Not the bit rate's, which is obeyed,
 * and then an encoder may well begin anew; nor the day/night mode's, each of which is tried again ten seconds
 * later.
 */
class Noise {
  public:
    explicit Noise(uint32_t seed) : random_(seed) {}

    std::string next() {
        switch (below(4)) {
        case 0:
            return header(code(), static_cast<uint32_t>(random_())) + bytes(below(200));
        case 1:
            return header(code(), below(5000)) + bytes(below(600));
        case 2: {
            const std::string payload = bytes(below(100));
            return header(code(), static_cast<uint32_t>(payload.size())) + payload;
        }
        default:
            return bytes(1 + below(700));
        }
    }

    uint32_t below(uint32_t limit) { return static_cast<uint32_t>(random_() % limit); }

  private:
    uint32_t code() {
        for (;;) {
            const uint32_t chosen = below(4) == 0 ? static_cast<uint32_t>(random_()) : 0x1000 + below(0x40);
            if (chosen != 0x1018 && chosen != 0x1025) {
                return chosen;
            }
        }
    }
    static std::string header(uint32_t code, uint32_t length) {
        std::string text = "AVcm";
        text.append(reinterpret_cast<const char *>(&code), sizeof code);
        text.append(reinterpret_cast<const char *>(&length), sizeof length);
        return text;
    }
    std::string bytes(uint32_t count) {
        std::string text;
        while (text.size() < count) {
            text.push_back(static_cast<char>(random_()));
        }
        return text;
    }

    std::mt19937 random_;
};

/* Drops what the daemon has answered. */
void read_all(int fd) {
    char answers[4096];
    while (recv(fd, answers, sizeof answers, MSG_DONTWAIT) > 0) {
    }
}

TEST_F(Abuse, RandomBytesOnTheCommandSocket) {
    ASSERT_NO_FATAL_FAILURE(watch());
    Noise noise(20);
    const auto end = Clock::now() + abuse_time();
    std::unique_ptr<AvClient> client = std::make_unique<AvClient>();
    uint64_t sent_bytes = 0;
    uint32_t connections = 1;
    while (Clock::now() < end) {
        const std::string bytes = noise.next();
        const ssize_t sent = ::send(client->fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        sent_bytes += sent > 0 ? static_cast<uint64_t>(sent) : 0;
        read_all(client->fd());
        if (sent < 0 || noise.below(500) == 0) {
            client = std::make_unique<AvClient>(); // sent away, or had enough
            ++connections;
        }
    }
    client = std::make_unique<AvClient>();
    EXPECT_EQ(client->call(fence).code, fence + 1) << "whoever makes sense is served as ever";
    expect_obedience();
    expect_no_loss();
    RecordProperty("bytes", std::to_string(sent_bytes));
    RecordProperty("connections", static_cast<int>(connections));
}

TEST_F(Abuse, AClientThatNeverReadsItsAcknowledgements) {
    ASSERT_NO_FATAL_FAILURE(watch());
    const AvClient deaf;
    const AvClient other;
    constexpr uint32_t get_exposure = 0x101a;
    constexpr int commands = 5000; // a socket takes the acknowledgements of some hundreds
    for (int i = 0; i < commands; ++i) {
        ASSERT_TRUE(deaf.send(get_exposure, {}));
        if (i % 500 == 0) {
            ASSERT_EQ(other.call(fence).code, fence + 1) << "after " << i;
        }
    }
    ASSERT_EQ(other.call(fence).code, fence + 1);
    expect_obedience();
    // What it finds when it reads at last is whole acknowledgements, and it is served again.
    int read = 0;
    av_cmd_ack_t ack;
    int32_t result = 0;
    while ((result = av_cmd_read_ack(deaf.fd(), &ack, 0)) == 1) {
        ASSERT_EQ(ack.code, get_exposure + 1);
        ASSERT_EQ(ack.length, 28U);
        ++read;
    }
    EXPECT_EQ(result, 0);
    EXPECT_GT(read, 0);
    EXPECT_LT(read, commands) << "the socket should have been full";
    EXPECT_EQ(deaf.call(fence).code, fence + 1);
    expect_no_loss();
    RecordProperty("acknowledgements", read);
}

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

TEST_F(Abuse, AFloodOfRequestsForPicturesWithOneAmongThemWhoTakesNone) {
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
