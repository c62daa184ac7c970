#include "measure.h"
#include "transport.h"

#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

namespace bench {

namespace {

class Socket : public Transport {
  public:
    Socket(int type, const Channel &channel)
        : stream_(type == SOCK_STREAM), payload_(channel.capacity + 1, 1) {
        for (int i = 0; i < channel.receivers; ++i) {
            int pair[2];
            if (socketpair(AF_UNIX, type, 0, pair) != 0) {
                fail("socketpair");
            }
            // Room for some of the largest frames: else a packet would not fit, and a stream would stop and
            // go.
            const int room = 4 * static_cast<int>(channel.capacity);
            if (setsockopt(pair[0], SOL_SOCKET, SO_SNDBUFFORCE, &room, sizeof room) != 0) {
                setsockopt(pair[0], SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
            }
            senders_.push_back(pair[0]);
            receivers_.push_back(pair[1]);
        }
    }
    ~Socket() override {
        for (size_t i = 0; i < senders_.size(); ++i) {
            close(senders_[i]);
            close(receivers_[i]);
        }
    }

    void open_sender() override {}
    uint8_t *prepare(uint32_t /*size*/) override { return payload_.data(); }
    void publish(uint32_t size) override {
        for (const int fd : senders_) {
            // What divides a stream into frames: the length before each.
            iovec parts[2] = {{&size, sizeof size}, {payload_.data(), size}};
            msghdr message{};
            message.msg_iov = stream_ ? parts : parts + 1;
            message.msg_iovlen = stream_ ? 2 : 1;
            const size_t length = size + (stream_ ? sizeof size : 0);
            if (sendmsg(fd, &message, MSG_NOSIGNAL) != static_cast<ssize_t>(length)) {
                fail("sendmsg");
            }
        }
    }

    void open_receiver(int index) override { fd_ = receivers_[static_cast<size_t>(index)]; }
    FrameHead receive() override {
        ssize_t length = 0;
        if (stream_) {
            uint32_t size = 0;
            if (recv(fd_, &size, sizeof size, MSG_WAITALL) != sizeof size || size > payload_.size()) {
                fail("recv");
            }
            length = recv(fd_, payload_.data(), size, MSG_WAITALL);
        } else {
            length = recv(fd_, payload_.data(), payload_.size(), 0);
        }
        if (length <= 0) {
            fail("recv");
        }
        return look_at(payload_.data(), static_cast<size_t>(length));
    }

  private:
    bool stream_;
    std::vector<uint8_t> payload_;
    std::vector<int> senders_;
    std::vector<int> receivers_;
    int fd_ = -1;
};

} // namespace

std::unique_ptr<Transport> make_seqpacket(const Channel &channel) {
    return std::make_unique<Socket>(SOCK_SEQPACKET, channel);
}

std::unique_ptr<Transport> make_stream(const Channel &channel) {
    return std::make_unique<Socket>(SOCK_STREAM, channel);
}

} // namespace bench
