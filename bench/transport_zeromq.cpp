// ZeroMQ: a PUB socket that listens on a Unix socket, a SUB socket in each receiver. The frame is written
// into the message that is sent, and looked at in the one that came: the only copies are the library's own.

#include "measure.h"
#include "transport.h"

#include <zmq.h>

namespace bench {

namespace {

constexpr int queue_frames = 100; // 200 ms at 500 Hz; what is more is dropped

void check(int result) {
    if (result < 0) {
        fail(std::string("ZeroMQ: ") + zmq_strerror(zmq_errno()));
    }
}

class ZeroMq : public Transport {
  public:
    explicit ZeroMq(const Channel &channel) : address_(ipc_address("zeromq", channel)) {}
    ~ZeroMq() override {
        if (socket_ != nullptr) {
            const int linger_ms = 0;
            zmq_setsockopt(socket_, ZMQ_LINGER, &linger_ms, sizeof linger_ms);
            zmq_close(socket_);
            zmq_ctx_term(context_);
        }
    }

    void open_sender() override {
        open(ZMQ_PUB);
        check(zmq_setsockopt(socket_, ZMQ_SNDHWM, &queue_frames, sizeof queue_frames));
        check(zmq_bind(socket_, address_.c_str()));
    }
    uint8_t *prepare(uint32_t size) override {
        check(zmq_msg_init_size(&message_, size));
        return static_cast<uint8_t *>(zmq_msg_data(&message_));
    }
    void publish(uint32_t /*size*/) override { check(zmq_msg_send(&message_, socket_, 0)); }

    void open_receiver(int /*index*/) override {
        open(ZMQ_SUB);
        check(zmq_setsockopt(socket_, ZMQ_RCVHWM, &queue_frames, sizeof queue_frames));
        check(zmq_setsockopt(socket_, ZMQ_SUBSCRIBE, "", 0));
        const int interval_ms = 10; // the sender may not be there yet
        check(zmq_setsockopt(socket_, ZMQ_RECONNECT_IVL, &interval_ms, sizeof interval_ms));
        check(zmq_connect(socket_, address_.c_str()));
    }
    FrameHead receive() override {
        zmq_msg_init(&message_);
        check(zmq_msg_recv(&message_, socket_, 0));
        const FrameHead head = look_at(zmq_msg_data(&message_), zmq_msg_size(&message_));
        zmq_msg_close(&message_);
        return head;
    }

  private:
    void open(int type) {
        context_ = zmq_ctx_new();
        socket_ = zmq_socket(context_, type);
    }

    std::string address_;
    void *context_ = nullptr;
    void *socket_ = nullptr;
    zmq_msg_t message_{};
};

} // namespace

std::unique_ptr<Transport> make_zeromq(const Channel &channel) {
    return std::make_unique<ZeroMq>(channel);
}

} // namespace bench
