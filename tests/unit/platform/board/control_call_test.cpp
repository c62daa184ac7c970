// One request and its reply, with a peer that answers all kinds of nonsense.

#include "board/client/control_call.h"
#include "support/passing.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace board;

class ControlCallTest : public testing::Test {
  protected:
    ControlCallTest() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends_), 0); }
    ~ControlCallTest() override {
        close(ends_[0]);
        close(ends_[1]);
    }

    /* The peer sends this before it is asked: it is in the socket when the call looks for its reply. */
    void peer_sends(const ControlReply &reply, const std::string &payload = "") {
        std::string packet(reinterpret_cast<const char *>(&reply), sizeof reply);
        packet += payload;
        ASSERT_EQ(send(ends_[1], packet.data(), packet.size(), 0), static_cast<ssize_t>(packet.size()));
    }

    /* Asks for the sensor class, id 7. */
    int ask(uint64_t patience_us = 20'000'000) {
        const ControlCall call = {op_sensor_class, 3, "abc", 3, &flag_, sizeof flag_};
        return control_call(ends_[0], 7, call, monotonic_us() + patience_us, &result_);
    }

    int ends_[2] = {-1, -1};
    int32_t flag_ = 55;
    int32_t result_ = 99;
};

const std::string four_bytes("\x01\x00\x00\x00", 4);

TEST_F(ControlCallTest, SendsTheRequestAndTakesTheReply) {
    peer_sends({control_magic, op_sensor_class, 7, 5}, four_bytes);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(result_, 5);
    EXPECT_EQ(flag_, 1);
    char packet[100];
    ASSERT_EQ(recv(ends_[1], packet, sizeof packet, 0), 19);
    const ControlRequest expected = {control_magic, op_sensor_class, 7, 3};
    EXPECT_EQ(std::memcmp(packet, &expected, sizeof expected), 0);
    EXPECT_EQ(std::string(packet + 16, 3), "abc");
}

TEST_F(ControlCallTest, ARefusalHasNoPayload) {
    peer_sends({control_magic, op_sensor_class, 7, -4});
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(result_, -4);
    EXPECT_EQ(flag_, 55);
}

TEST_F(ControlCallTest, PassesOverTheRepliesToEarlierCalls) {
    peer_sends({control_magic, op_set_profile, 5, 0});
    peer_sends({control_magic, op_sensor_class, 6, 0}, four_bytes + four_bytes);
    peer_sends({control_magic, op_sensor_class, 7, 2}, four_bytes);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(result_, 2);
}

TEST_F(ControlCallTest, RefusesWhatIsNoReply) {
    struct Case {
        ControlReply reply;
        std::string payload;
    };
    const Case cases[] = {
        {{0, op_sensor_class, 7, 0}, four_bytes},
        {{control_magic, op_status, 7, 0}, four_bytes},
        {{control_magic, op_sensor_class, 7, 0}, ""},
        {{control_magic, op_sensor_class, 7, 0}, "abc"},
        {{control_magic, op_sensor_class, 7, 0}, four_bytes + "x"},
        {{control_magic, op_sensor_class, 7, -1}, four_bytes},
        {{control_magic, op_sensor_class, 7, 0}, std::string(5000, 'x')},
    };
    for (const Case &one : cases) {
        peer_sends(one.reply, one.payload);
        EXPECT_EQ(ask(), -EPROTO);
    }
    ASSERT_EQ(send(ends_[1], "short", 5, 0), 5);
    EXPECT_EQ(ask(), -EPROTO);
    EXPECT_EQ(result_, 99);
    EXPECT_EQ(flag_, 55);
}

TEST_F(ControlCallTest, GivesUpWhenTheTimeIsUp) {
    EXPECT_EQ(ask(1000), -ETIMEDOUT);
}

TEST_F(ControlCallTest, DoesNotWaitForAPeerThatReadsNothing) {
    while (send(ends_[0], "x", 1, MSG_DONTWAIT) == 1) {
    }
    EXPECT_EQ(ask(), -ETIMEDOUT);
}

TEST_F(ControlCallTest, NoticesThatThePeerIsGone) {
    shutdown(ends_[1], SHUT_RDWR);
    EXPECT_EQ(ask(), -EPIPE);
}

/* ---- replies with a file ---- */

class ControlCallFileTest : public ControlCallTest {
  protected:
    ~ControlCallFileTest() override {
        if (file_ >= 0) {
            close(file_);
        }
    }

    /* The same as peer_sends, with a pipe's end as the file. The other end tells when all copies are closed.
     */
    void peer_sends_file(const ControlReply &reply, const std::string &payload = "") {
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        std::string packet(reinterpret_cast<const char *>(&reply), sizeof reply);
        packet += payload;
        ASSERT_EQ(support::send_passing(ends_[1], packet.data(), packet.size(), ends[0]),
                  static_cast<ssize_t>(packet.size()));
        close(ends[0]);
        pipes_.push_back(ends[1]);
    }

    int ask_for_file() {
        const ControlCall call = {op_sensor_class, 3, nullptr, 0, &flag_, sizeof flag_, &file_};
        return control_call(ends_[0], 7, call, monotonic_us() + 20'000'000, &result_);
    }

    /* How many of the files that were sent are still open somewhere; closes the pipes. */
    size_t open_files() {
        size_t open = 0;
        for (const int end : pipes_) {
            open += write(end, "x", 1) == 1 ? 1U : 0U;
            close(end);
        }
        pipes_.clear();
        return open;
    }

    void SetUp() override { std::signal(SIGPIPE, SIG_IGN); }

    int file_ = -1;
    std::vector<int> pipes_;
};

TEST_F(ControlCallFileTest, TheFileIsTheCallers) {
    peer_sends_file({control_magic, op_sensor_class, 7, 0}, four_bytes);
    EXPECT_EQ(ask_for_file(), 0);
    EXPECT_EQ(flag_, 1);
    ASSERT_GE(file_, 0);
    EXPECT_NE(fcntl(file_, F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_EQ(open_files(), 1U);
}

TEST_F(ControlCallFileTest, AnAnswerWithoutItsFileIsNone) {
    peer_sends({control_magic, op_sensor_class, 7, 0}, four_bytes);
    EXPECT_EQ(ask_for_file(), -EPROTO);
}

TEST_F(ControlCallFileTest, ARefusalNeedsNoFile) {
    peer_sends({control_magic, op_sensor_class, 7, -5});
    EXPECT_EQ(ask_for_file(), 0);
    EXPECT_EQ(result_, -5);
    EXPECT_EQ(file_, -1);
}

TEST_F(ControlCallFileTest, FilesThatNobodyAskedForAreClosed) {
    peer_sends_file({control_magic, op_sensor_class, 5, 0}, four_bytes); // of an earlier call
    peer_sends_file({control_magic, op_sensor_class, 7, 0}, four_bytes);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(open_files(), 0U);
    peer_sends_file({control_magic, op_sensor_class, 7, -1});
    EXPECT_EQ(ask_for_file(), 0);
    EXPECT_EQ(file_, -1);
    EXPECT_EQ(open_files(), 0U);
    peer_sends_file({control_magic, op_status, 7, 0}, four_bytes);
    EXPECT_EQ(ask_for_file(), -EPROTO);
    EXPECT_EQ(open_files(), 0U);
}

} // namespace
