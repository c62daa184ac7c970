#include "libshbf.h"
#include "libshbf_receiver.h"
#include "libshbfev.h"
#include "measure.h"
#include "transport.h"

#include <ev.h>
#include <poll.h>
#include <thread>
#include <unistd.h>

namespace bench {

namespace {

class Shbf : public Transport {
  public:
    Shbf(const Channel &channel, bool polls)
        : path_("/run/bench_channel" + std::to_string(channel.number)), capacity_(channel.capacity),
          polls_(polls) {}
    ~Shbf() override {
        shbf_rcv_close(receiver_);
        if (brd_ != nullptr) {
            ev_async_send(loop_, &stop_);
            thread_.join();
            shbfev_brd_destroy(brd_);
            ev_loop_destroy(loop_);
        }
    }

    void open_sender() override {
        loop_ = ev_loop_new(EVFLAG_AUTO);
        ev_async_init(&stop_, [](struct ev_loop *loop, ev_async *, int) { ev_break(loop, EVBREAK_ALL); });
        ev_async_start(loop_, &stop_);
        brd_ = shbfev_brd_create(path_.c_str());
        if (shbfev_brd_start(loop_, brd_) < 0) {
            fail("cannot start the channel");
        }
        thread_ = std::thread([this] { ev_run(loop_, 0); });
    }
    uint8_t *prepare(uint32_t size) override {
        buffer_ = static_cast<uint8_t *>(shbfev_brd_alloc(brd_, capacity_));
        if (buffer_ != nullptr) {
            shbf_set_size(buffer_, size);
        }
        return buffer_;
    }
    void publish(uint32_t /*size*/) override { shbfev_brd_broadcast(brd_, buffer_); }

    void open_receiver(int /*index*/) override {
        while ((receiver_ = shbf_rcv_open(path_.c_str(), nullptr)) == nullptr) {
            usleep(1000);
        }
    }
    FrameHead receive() override {
        shbf_event_t event;
        if (polls_) {
            pollfd readable = {shbf_rcv_fd(receiver_), POLLIN, 0};
            int result = shbf_rcv_next(receiver_, &event, 0); // before polling, until there is nothing
            while (result == 0) {
                poll(&readable, 1, -1);
                result = shbf_rcv_next(receiver_, &event, 0);
            }
            check(result);
        } else {
            check(shbf_rcv_next(receiver_, &event, -1));
        }
        const FrameHead head = look_at(event.frame.data, event.frame.size);
        shbf_rcv_release(receiver_, &event.frame);
        return head;
    }

  private:
    static void check(int result) {
        if (result != 1) {
            fail("no frame");
        }
    }

    std::string path_;
    uint32_t capacity_; // the daemon, too, allocates the largest and then gives the rest back
    bool polls_;
    struct ev_loop *loop_ = nullptr;
    ev_async stop_{};
    shbfev_brd_t *brd_ = nullptr;
    uint8_t *buffer_ = nullptr;
    std::thread thread_;
    shbf_rcv_t *receiver_ = nullptr;
};

} // namespace

std::unique_ptr<Transport> make_shbf(const Channel &channel) {
    return std::make_unique<Shbf>(channel, false);
}

std::unique_ptr<Transport> make_shbf_poll(const Channel &channel) {
    return std::make_unique<Shbf>(channel, true);
}

} // namespace bench
