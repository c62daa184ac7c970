#include "measure.h"
#include "transport.h"

#include <cstring>
#include <sys/socket.h>
#include <vector>

namespace bench {

namespace {

class Socket : public Transport {
  public:
    explicit Socket(int receivers) : payload_(1 << 17, 1) {
        for (int i = 0; i < receivers; ++i) {
            int pair[2];
            if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, pair) != 0) {
                fail("socketpair");
            }
            senders_.push_back(pair[0]);
            receivers_.push_back(pair[1]);
        }
    }
    std::string name() const override { return "copy: SOCK_SEQPACKET"; }
    void open_sender() override {}
    void send(uint32_t size) override {
        const uint64_t time = now_ns();
        std::memcpy(payload_.data(), &time, sizeof time);
        for (const int fd : senders_) {
            if (::send(fd, payload_.data(), size, MSG_NOSIGNAL) < 0) {
                fail("send");
            }
        }
    }
    void open_receiver(int index) override { fd_ = receivers_[static_cast<size_t>(index)]; }
    uint64_t receive() override {
        if (recv(fd_, payload_.data(), payload_.size(), 0) <= 0) {
            fail("recv");
        }
        uint64_t time = 0;
        std::memcpy(&time, payload_.data(), sizeof time);
        return time;
    }

  private:
    std::vector<uint8_t> payload_;
    std::vector<int> senders_;
    std::vector<int> receivers_;
    int fd_ = -1;
};

} // namespace

std::unique_ptr<Transport> make_socket(int receivers) {
    return std::make_unique<Socket>(receivers);
}

} // namespace bench
