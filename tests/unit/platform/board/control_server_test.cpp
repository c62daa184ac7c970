// boardd's control socket with a handler of the test's own: replies that no handler of boardd makes.

#include "board/boardd/control_server.h"
#include "run_dir/run_dir.h"
#include "support/scratch.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace board;

/* Answers every request with as many bytes as its value says. */
class Replier : public RequestHandler {
  public:
    explicit Replier(ControlServer &server) : server_(server) {}

    void request(ClientId client, const ControlRequest &header, std::span<const uint8_t>) override {
        server_.reply(client, header, 0, std::vector<uint8_t>(static_cast<size_t>(header.value), 'r'));
    }
    void gone(ClientId /*client*/) override {}

  private:
    ControlServer &server_;
};

class ControlServerTest : public testing::Test {
  protected:
    ControlServerTest() {
        server_.set_handler(&replier_);
        client_ = run_dir_connect(control_path, SOCK_SEQPACKET, 0);
        EXPECT_GE(client_, 0);
        ev_run(loop_, EVRUN_ONCE);
    }
    ~ControlServerTest() override { close(client_); }

    struct Reply {
        int32_t result;
        size_t payload_bytes;
    };

    std::optional<Reply> ask_for(size_t bytes) {
        const ControlRequest request = {control_magic, op_status, 5, static_cast<int32_t>(bytes)};
        EXPECT_EQ(send(client_, &request, sizeof request, MSG_NOSIGNAL),
                  static_cast<ssize_t>(sizeof request));
        ev_run(loop_, EVRUN_ONCE);
        std::vector<uint8_t> packet(2 * control_packet_max_bytes);
        const ssize_t length = recv(client_, packet.data(), packet.size(), MSG_DONTWAIT);
        ControlReply reply{};
        if (length < static_cast<ssize_t>(sizeof reply)) {
            return std::nullopt;
        }
        std::memcpy(&reply, packet.data(), sizeof reply);
        return Reply{reply.result, static_cast<size_t>(length) - sizeof reply};
    }

    support::ScratchRunDir run_dir_;
    struct ev_loop *loop_ = ev_default_loop(EVFLAG_AUTO);
    ControlServer server_{loop_};
    Replier replier_{server_};
    int client_ = -1;
};

TEST_F(ControlServerTest, TheLargestReplyGoesOutWhole) {
    const size_t largest = control_packet_max_bytes - sizeof(ControlReply);
    const std::optional<Reply> reply = ask_for(largest);
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->result, 0);
    EXPECT_EQ(reply->payload_bytes, largest);
}

TEST_F(ControlServerTest, AReplyThatIsTooLargeIsAnErrorInstead) {
    for (const size_t bytes : {size_t{control_packet_max_bytes},
                               control_packet_max_bytes - sizeof(ControlReply) + 1, size_t{1'000'000}}) {
        const std::optional<Reply> reply = ask_for(bytes);
        ASSERT_TRUE(reply) << bytes;
        EXPECT_EQ(reply->result, -EMSGSIZE) << bytes;
        EXPECT_EQ(reply->payload_bytes, 0U) << bytes;
    }
    EXPECT_EQ(ask_for(3)->payload_bytes, 3U) << "still served";
}

} // namespace
