// What clients of the command socket can do to the daemon while both streams run, and what they cannot: cost
// anybody a frame.

#include "daemon/abuse_fixture.h"
#include "daemon/av_client.h"

#include <chrono>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <sys/socket.h>
#include <vector>

using daemon_test::AvClient;
using support::eventually;

namespace {

using Clock = std::chrono::steady_clock;

/* Is acknowledged always with 0 and does nothing. */
constexpr uint32_t fence = 0x1029;

class AbuseCommands : public daemon_test::Abuse {};

TEST_F(AbuseCommands, TheEleventhClientWaitsUntilOneLeavesAndHoldsUpNobody) {
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

TEST_F(AbuseCommands, RandomBytesOnTheCommandSocket) {
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

TEST_F(AbuseCommands, AClientThatNeverReadsItsAcknowledgements) {
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

} // namespace
