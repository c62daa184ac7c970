// Where the daemon stops: failures that end it, requests that it does not answer, clients that it sends away
// or whose bytes it loses, and that it goes on as before behind all this.

#include "board/boardctl.h"
#include "libav_cmd_client.h"
#include "libboardav.h"
#include "support/system.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <gtest/gtest.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using support::eventually;
using support::System;

namespace {

constexpr int32_t patience_ms = 20000;

/* Acknowledged always, and does nothing. */
constexpr uint32_t fence = 0x1029;
constexpr uint32_t fence_ack = 0x102a;

/* A client of the command socket that also sends what is no command. */
class CommandClient {
  public:
    /* The daemon lets five wait for it at a time, so it may take another attempt. */
    CommandClient() {
        EXPECT_TRUE(eventually([this] { return (fd_ = av_cmd_connect()) >= 0; }));
    }
    ~CommandClient() { close(fd_); }
    CommandClient(const CommandClient &) = delete;
    CommandClient &operator=(const CommandClient &) = delete;

    bool send_bytes(const std::string &bytes) const {
        return send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
    }

    /* The code of the next acknowledgement; 0 when none comes in time, or a negative errno value. */
    int64_t ack_code() const {
        av_cmd_ack_t ack;
        const int32_t result = av_cmd_read_ack(fd_, &ack, patience_ms);
        return result == 1 ? int64_t{ack.code} : result;
    }

    int64_t call(uint32_t code) const {
        EXPECT_EQ(av_cmd_send(fd_, code, nullptr, 0), 0);
        return ack_code();
    }

    /* Waits until an acknowledgement is there, and does not read it. */
    bool has_ack() const {
        pollfd entry = {fd_, POLLIN, 0};
        return poll(&entry, 1, patience_ms) == 1;
    }

    int32_t fd() const { return fd_; }

  private:
    int32_t fd_ = -1;
};

/* A command's header as it goes over the socket. */
std::string header(uint32_t code, uint32_t length) {
    std::string bytes = "AVcm";
    bytes.append(reinterpret_cast<const char *>(&code), sizeof code);
    return bytes.append(reinterpret_cast<const char *>(&length), sizeof length);
}

class Limits : public testing::Test {
  protected:
    Limits() { system_.start(); }

    /* Everything that was sent to the daemon up to now has been dealt with: the first answer comes in a turn
     * of its loop that sees all of it, the second in a later one. */
    static void let_the_loop_turn() {
        const CommandClient client;
        EXPECT_EQ(client.call(fence), fence_ack);
        EXPECT_EQ(client.call(fence), fence_ack);
    }

    static bool board_says(const std::string &text) {
        return eventually([&] { return board::BoardCtl().status().find(text) != std::string::npos; });
    }

    System system_;
};

// ---- the microphone ----

TEST_F(Limits, AMicrophoneThatFailsForGoodEndsTheDaemonAfter262Failures) {
    support::StatisticsService statistics(system_.dir());
    board::BoardCtl().answer_fetches(board::microphone_channel, -1, 0);
    // 262 times 100 ms, and more on a busy machine.
    EXPECT_EQ(system_.daemon->exit_code(std::chrono::seconds(120)), 255) << system_.daemon->output();
    EXPECT_EQ(statistics.reports(),
              (std::vector<std::string>{R"({"name":"strell_v2.err","object":{"type":2}})"}));
    EXPECT_EQ(system_.daemon->count("---sighandler:last -1, new " + std::to_string(SIGINT) + "---"), 1U);
}

std::string next_frame(const support::ReceiverHandle &receiver) {
    shbf_event_t event;
    std::string bytes;
    if (shbf_rcv_next(receiver.get(), &event, patience_ms) == 1 && event.kind == SHBF_EVENT_FRAME) {
        bytes.assign(static_cast<const char *>(event.frame.data), event.frame.size);
        shbf_rcv_release(receiver.get(), &event.frame);
    }
    return bytes;
}

/* The number of the next block, 0 when none comes. */
uint32_t next_block_number(const support::ReceiverHandle &receiver) {
    const std::string block = next_frame(receiver);
    AudioFrameInfo info{};
    EXPECT_GE(block.size(), sizeof info);
    std::memcpy(&info, block.data(), std::min(block.size(), sizeof info));
    return info.seq;
}

TEST_F(Limits, SoundIsNumberedWithoutAGapOverANewProfile) {
    const auto receiver = support::attach("/run/audio_in");
    ASSERT_NE(receiver, nullptr);
    uint32_t number = next_block_number(receiver);
    ASSERT_TRUE(System::set("hot_status", "changing", "mem"));
    ASSERT_TRUE(system_.daemon->saw("will set reload_boardav=ture"));
    constexpr int blocks_behind = 40;
    int behind = 0;
    for (int i = 0; i < 1000 && behind < blocks_behind; ++i) {
        ASSERT_EQ(next_block_number(receiver), ++number);
        behind += behind > 0 || System::get("hot_status", "mem") == "changed" ? 1 : 0;
    }
    EXPECT_EQ(behind, blocks_behind) << "it was changed, and sound went on";
}

// ---- pictures ----

class Picture : public Limits {
  protected:
    static support::ReceiverHandle attached(const char *path) {
        auto receiver = support::attach(path);
        EXPECT_NE(receiver, nullptr) << path;
        return receiver;
    }

    void ask() const {
        ASSERT_EQ(shbf_rcv_send(jpeg_.get(), "REQ_SNAPSHOT_A", 14), 0);
        ASSERT_EQ(shbf_rcv_send(raw_.get(), "x", 1), 0);
    }

    /* Nothing is there now. */
    void expect_no_answer() const {
        shbf_event_t event;
        EXPECT_EQ(shbf_rcv_next(jpeg_.get(), &event, 0), 0);
        EXPECT_EQ(shbf_rcv_next(raw_.get(), &event, 0), 0);
    }

    const support::ReceiverHandle jpeg_ = attached("/run/jpeg_snap");
    const support::ReceiverHandle raw_ = attached("/run/video_rawstream");
};

TEST_F(Picture, IsNotTakenOfACameraThatIsOffAndIsAgainWhenItIsOn) {
    ASSERT_TRUE(System::set("power", "off"));
    ASSERT_TRUE(board_says(R"("streaming":false)"));
    ASSERT_NO_FATAL_FAILURE(ask());
    let_the_loop_turn();
    expect_no_answer();

    ASSERT_TRUE(System::set("power", "on"));
    ASSERT_TRUE(board_says(R"("streaming":true)"));
    ASSERT_NO_FATAL_FAILURE(ask());
    EXPECT_GT(next_frame(jpeg_).size(), sizeof(VideoFrameInfo));
    EXPECT_EQ(next_frame(raw_).size(), 64U + 368640U);
    let_the_loop_turn();
    expect_no_answer(); // what was asked in vain stays so
}

// ---- sound to play ----

TEST_F(Limits, TheCancellerIsOnWhileSoundIsPlayedAndOffAfterwards) {
    ASSERT_TRUE(board_says(R"("aec":false)"));
    const auto player = support::attach("/run/audio_play");
    ASSERT_NE(player, nullptr);
    // What comes before it waits is played with what comes next, which is nothing here.
    ASSERT_TRUE(support::thread_sleeps(system_.daemon->pid(), "play_audio"));
    const std::string two_seconds(size_t{2} * 16000 * sizeof(int16_t), '\x10');
    ASSERT_EQ(shbf_rcv_send(player.get(), two_seconds.data(), static_cast<uint32_t>(two_seconds.size())), 0);
    EXPECT_TRUE(board_says(R"("enabled":true,"aec":true)")) << board::BoardCtl().status();
    EXPECT_TRUE(system_.daemon->saw("info ###disable_aec###"));
    EXPECT_TRUE(board_says(R"("enabled":false,"aec":false)")) << board::BoardCtl().status();
    EXPECT_TRUE(board_says(R"("heard":32000)")) << board::BoardCtl().status();
}

// ---- clients of the command socket ----

TEST_F(Limits, ClientsThatLeaveWithoutReadingTakeNobodysPlace) {
    constexpr size_t clients = 20; // twice as many as have a place
    for (size_t i = 0; i < clients; ++i) {
        const CommandClient client;
        ASSERT_EQ(av_cmd_send(client.fd(), fence, nullptr, 0), 0);
        ASSERT_TRUE(client.has_ack()) << i; // and it leaves with it unread, which resets the connection
    }
    EXPECT_TRUE(eventually([&] { return system_.daemon->count("might closing,now ") == clients; }))
        << system_.daemon->output();
    EXPECT_EQ(CommandClient().call(fence), fence_ack);
}

TEST_F(Limits, AClientWhose512BytesAreNoCommandIsSentAway) {
    constexpr uint32_t claimed = 4096;
    constexpr size_t behind_header = 500;
    const CommandClient client;
    ASSERT_TRUE(client.send_bytes(header(0x2000, claimed) + std::string(behind_header, 'x')));
    EXPECT_EQ(client.ack_code(), -EPIPE);
    EXPECT_TRUE(system_.daemon->saw("might closing,now 0 client connected"));
    EXPECT_EQ(CommandClient().call(fence), fence_ack);
}

TEST_F(Limits, ACommandWhoseHalvesComeApartIsLostAndTheNextIsNot) {
    constexpr uint32_t get_mode = 0x1016;
    const std::string command = header(get_mode, 0);
    const CommandClient client;
    ASSERT_TRUE(client.send_bytes(command.substr(0, 6)));
    let_the_loop_turn(); // it has read the half
    ASSERT_TRUE(client.send_bytes(command.substr(6) + header(fence, 0)));
    EXPECT_EQ(client.ack_code(), fence_ack);
    EXPECT_EQ(client.call(get_mode), get_mode + 1) << "whole, it is answered";
    EXPECT_EQ(client.call(fence), fence_ack) << "and once";
}

TEST_F(Limits, AClientThatGivesTheNameWithoutItsZerosIsRefused) {
    constexpr char name[] = "vuto_IPCsock";
    constexpr socklen_t short_length = offsetof(sockaddr_un, sun_path) + sizeof name; // a NUL, and 12 letters
    static_assert(short_length == 15);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, name, sizeof name);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_GE(fd, 0);
    const auto connected = [&](socklen_t length) {
        return connect(fd, reinterpret_cast<const sockaddr *>(&address), length) == 0 ? 0 : errno;
    };
    EXPECT_EQ(connected(short_length), ECONNREFUSED);
    EXPECT_EQ(connected(sizeof address), 0) << "with them it is the daemon's";
    close(fd);
}

} // namespace
