// nng: a pub0 socket that listens on a Unix socket, a sub0 socket in each receiver. The frame is written into
// the message that is sent, and looked at in the one that came: the only copies are the library's own.

#include "measure.h"
#include "transport.h"

#include <nng/nng.h>
#include <nng/protocol/pubsub0/pub.h>
#include <nng/protocol/pubsub0/sub.h>
#include <unistd.h>

namespace bench {

namespace {

constexpr int queue_frames = 100; // 200 ms at 500 Hz; what is more is dropped

void check(int result) {
    if (result != 0) {
        fail(std::string("nng: ") + nng_strerror(result));
    }
}

class Nng : public Transport {
  public:
    explicit Nng(const Channel &channel) : address_(ipc_address("nng", channel)) {}
    // Never closed: nng_close (1.5.2) now and then waits for ever, and the process ends anyhow.

    void open_sender() override {
        check(nng_pub0_open(&socket_));
        check(nng_socket_set_int(socket_, NNG_OPT_SENDBUF, queue_frames));
        check(nng_listen(socket_, address_.c_str(), nullptr, 0));
    }
    uint8_t *prepare(uint32_t size) override {
        check(nng_msg_alloc(&message_, size));
        return static_cast<uint8_t *>(nng_msg_body(message_));
    }
    void publish(uint32_t /*size*/) override { check(nng_sendmsg(socket_, message_, 0)); }

    void open_receiver(int /*index*/) override {
        check(nng_sub0_open(&socket_));
        check(nng_socket_set_int(socket_, NNG_OPT_RECVBUF, queue_frames));
        check(nng_socket_set(socket_, NNG_OPT_SUB_SUBSCRIBE, "", 0));
        while (nng_dial(socket_, address_.c_str(), nullptr, 0) != 0) {
            usleep(1000); // the sender is not there yet
        }
    }
    FrameHead receive() override {
        check(nng_recvmsg(socket_, &message_, 0));
        const FrameHead head = look_at(nng_msg_body(message_), nng_msg_len(message_));
        nng_msg_free(message_);
        return head;
    }

  private:
    std::string address_;
    nng_socket socket_{};
    nng_msg *message_ = nullptr;
};

} // namespace

std::unique_ptr<Transport> make_nng(const Channel &channel) {
    return std::make_unique<Nng>(channel);
}

} // namespace bench
