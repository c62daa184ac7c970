// libav_cmd, the client's side: connecting to the command socket, commands out, acknowledgements in.

#include "av_cmd_fixture.h"
#include "support/eventually.h"
#include "support/socket_names.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <future>
#include <memory>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/un.h>
#include <thread>

using namespace av_cmd_test;
using support::patience;

namespace {

constexpr int32_t patience_ms = static_cast<int32_t>(std::chrono::milliseconds(patience).count());

// ---- connecting ----

/* The daemon's listening socket, down to the last byte of its address. */
int listen_as_daemon() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, "vuto_IPCsock", 12);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(bind(fd, reinterpret_cast<const sockaddr *>(&address), 110), 0);
    EXPECT_EQ(listen(fd, 5), 0);
    return fd;
}

class AvCmdConnect : public testing::Test {
  protected:
    support::OwnSocketNames names_;
};

TEST_F(AvCmdConnect, ReachesTheDaemon) {
    const int listener = listen_as_daemon();
    const int client = av_cmd_connect();
    ASSERT_GE(client, 0);
    EXPECT_EQ(fcntl(client, F_GETFD), FD_CLOEXEC);
    const int daemon = accept(listener, nullptr, nullptr);
    ASSERT_GE(daemon, 0);
    EXPECT_EQ(av_cmd_send(client, 0x1016, nullptr, 0), 0);
    EXPECT_EQ(Pair::take(daemon), command(0x1016));
    EXPECT_EQ(send_av_cmd_ack(daemon, 0x1017, 0, word(1).data(), 4), 0);
    av_cmd_ack_t ack;
    EXPECT_EQ(av_cmd_read_ack(client, &ack, patience_ms), 1);
    EXPECT_EQ(ack.code, 0x1017U);
    close(client);
    close(daemon);
    close(listener);
}

TEST_F(AvCmdConnect, WhatWasSentBeforeLeavingArrives) {
    const int listener = listen_as_daemon();
    const int client = av_cmd_connect();
    EXPECT_EQ(av_cmd_send(client, 0x1023, nullptr, 0), 0);
    close(client);
    const int daemon = accept(listener, nullptr, nullptr);
    bool ended = false;
    EXPECT_EQ(Pair::take(daemon, &ended), command(0x1023));
    EXPECT_TRUE(ended);
    close(daemon);
    close(listener);
}

TEST_F(AvCmdConnect, SaysThatNobodyIsThere) {
    EXPECT_EQ(av_cmd_connect(), -ECONNREFUSED);
}

TEST_F(AvCmdConnect, DoesNotWaitForAPlaceInAFullQueue) {
    const int listener = listen_as_daemon();
    std::vector<int> clients;
    int fd = 0;
    while ((fd = av_cmd_connect()) >= 0 && clients.size() < 100) {
        clients.push_back(fd);
    }
    EXPECT_EQ(fd, -EAGAIN);
    EXPECT_GE(clients.size(), 5U);
    for (const int client : clients) {
        close(client);
    }
    close(listener);
}

// ---- commands ----

TEST(AvCmdSend, WritesTheDocumentedBytes) {
    const Pair pair;
    EXPECT_EQ(av_cmd_send(pair.client(), 0x1022, word(60).data(), 4), 0);
    const unsigned char bytes[] = {0x41, 0x56, 0x63, 0x6d, 0x22, 0x10, 0, 0, 4, 0, 0, 0, 0x3c, 0, 0, 0};
    EXPECT_EQ(Pair::take(pair.daemon()), std::string(std::begin(bytes), std::end(bytes)));
}

TEST(AvCmdSend, WhatIsSentIsWhatIsParsed) {
    const Pair pair;
    calls().clear();
    for (uint32_t length = 0; length <= AV_CMD_PAYLOAD_MAX; length += 20) {
        EXPECT_EQ(av_cmd_send(pair.client(), length, std::string(length, 'p').data(), length), 0);
    }
    const std::string bytes = Pair::take(pair.daemon());
    EXPECT_EQ(parse(bytes), static_cast<int32_t>(bytes.size()));
    EXPECT_EQ(calls().size(), AV_CMD_PAYLOAD_MAX / 20 + 1);
    for (const Call &call : calls()) {
        EXPECT_EQ(call.payload(call.code), std::string(std::min(call.code, 64U), 'p'));
    }
}

TEST(AvCmdSend, RefusesWhatTheDaemonCannotTake) {
    const Pair pair;
    const std::string payload(AV_CMD_PAYLOAD_MAX + 1, 'p');
    EXPECT_EQ(av_cmd_send(pair.client(), 1, payload.data(), AV_CMD_PAYLOAD_MAX + 1), -EMSGSIZE);
    EXPECT_EQ(av_cmd_send(pair.client(), 1, payload.data(), UINT32_MAX), -EMSGSIZE);
    EXPECT_EQ(av_cmd_send(pair.client(), 1, nullptr, 1), -EINVAL);
    EXPECT_EQ(Pair::take(pair.daemon()), "");
}

TEST(AvCmdSend, FailsWithoutASignalWhenTheDaemonHasGone) {
    ASSERT_EQ(std::signal(SIGPIPE, SIG_DFL), SIG_DFL) << "a signal would end this process";
    Pair pair;
    pair.close_daemon();
    EXPECT_EQ(av_cmd_send(pair.client(), 1, nullptr, 0), -EPIPE);
}

TEST(AvCmdSend, DoesNotWaitForADaemonThatDoesNotRead) {
    const Pair pair;
    int32_t result = 0;
    size_t count = 0;
    while ((result = av_cmd_send(pair.client(), 1, "word", 4)) == 0) {
        ++count;
    }
    EXPECT_EQ(result, -EAGAIN);
    EXPECT_EQ(Pair::take(pair.daemon()).size(), count * 16) << "whole commands only";
}

// ---- acknowledgements ----

class AvCmdReadAck : public testing::Test {
  protected:
    void put(const std::string &bytes) {
        EXPECT_EQ(send(pair_.daemon(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }
    int32_t read(int32_t timeout_ms = patience_ms) {
        std::memset(&ack_, 0xee, sizeof ack_);
        return av_cmd_read_ack(pair_.client(), &ack_, timeout_ms);
    }
    /* Nothing is on its way to the client. */
    bool all_was_taken() const {
        int unread = 1;
        return ioctl(pair_.client(), FIONREAD, &unread) == 0 && unread == 0;
    }
    std::string data() const { return {ack_.data, ack_.data + ack_.length}; }

    Pair pair_;
    av_cmd_ack_t ack_{};
};

TEST_F(AvCmdReadAck, ReadsOneAfterTheOther) {
    put(acknowledgement(0x100a, -5) + acknowledgement(0x101b, 0, "data"));
    EXPECT_EQ(read(), 1);
    EXPECT_EQ(ack_.code, 0x100aU);
    EXPECT_EQ(ack_.result, -5);
    EXPECT_EQ(ack_.length, 0U);
    EXPECT_EQ(read(), 1);
    EXPECT_EQ(ack_.code, 0x101bU);
    EXPECT_EQ(data(), "data");
    EXPECT_EQ(read(0), 0);
}

TEST_F(AvCmdReadAck, TakesTheLongestData) {
    put(acknowledgement(2, 0, std::string(AV_CMD_DATA_MAX, 'd')));
    EXPECT_EQ(read(), 1);
    EXPECT_EQ(data(), std::string(AV_CMD_DATA_MAX, 'd'));
}

TEST_F(AvCmdReadAck, WaitsNoLongerThanTold) {
    EXPECT_EQ(read(0), 0);
    EXPECT_EQ(read(20), 0);
}

TEST_F(AvCmdReadAck, WaitsForWhatComesLater) {
    auto reading = std::async(std::launch::async, [this] { return read(-1); });
    put(acknowledgement(2, 0));
    EXPECT_EQ(reading.get(), 1);
}

TEST_F(AvCmdReadAck, PutsTogetherWhatComesInPieces) {
    const std::string bytes = acknowledgement(0x101f, 3, std::string(32, 'w'));
    auto reading = std::async(std::launch::async, [this] { return read(); });
    for (const char byte : bytes) {
        put(std::string(1, byte));
        EXPECT_TRUE(support::eventually([&] { return all_was_taken(); }));
    }
    EXPECT_EQ(reading.get(), 1);
    EXPECT_EQ(data(), std::string(32, 'w'));
}

TEST_F(AvCmdReadAck, NoticesTheEnd) {
    put(acknowledgement(2, 0));
    pair_.close_daemon();
    EXPECT_EQ(read(), 1) << "what came before it is read";
    EXPECT_EQ(read(), -EPIPE);
}

TEST_F(AvCmdReadAck, NoticesTheEndInTheMiddle) {
    put(acknowledgement(2, 0, "data").substr(0, 18));
    pair_.close_daemon();
    EXPECT_EQ(read(), -EPIPE);
}

TEST_F(AvCmdReadAck, StoppingInTheMiddleIsAnError) {
    const std::string whole = acknowledgement(2, 0, "data");
    for (size_t length = 1; length < whole.size(); ++length) {
        const Pair pair;
        ASSERT_EQ(write(pair.daemon(), whole.data(), length), static_cast<ssize_t>(length));
        EXPECT_EQ(av_cmd_read_ack(pair.client(), &ack_, 10), -EPROTO) << length;
    }
}

TEST_F(AvCmdReadAck, WhatIsNoAcknowledgementIsAnError) {
    for (const std::string &bytes : {command(0x100a, "data"), std::string(16, 'x'),
                                     "AVak" + word(2) + word(0) + word(AV_CMD_DATA_MAX + 1),
                                     "AVak" + word(2) + word(0) + word(0xffffffff)}) {
        const Pair pair;
        ASSERT_EQ(write(pair.daemon(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        EXPECT_EQ(av_cmd_read_ack(pair.client(), &ack_, patience_ms), -EPROTO);
    }
}

TEST_F(AvCmdReadAck, ASignalEndsTheWait) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
    std::atomic<bool> done = false;
    const pthread_t reader = pthread_self();
    std::thread sender([&] {
        while (!done) {
            pthread_kill(reader, SIGUSR1);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    EXPECT_EQ(read(-1), -EINTR);
    done = true;
    sender.join();
    put(acknowledgement(2, 0));
    EXPECT_EQ(read(), 1) << "and nothing is lost by it";
}

} // namespace
