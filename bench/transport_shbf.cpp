#include "libshbf.h"
#include "libshbf_receiver.h"
#include "libshbfev.h"
#include "measure.h"
#include "transport.h"

#include <cstring>
#include <ev.h>
#include <thread>
#include <unistd.h>

namespace bench {

namespace {

constexpr const char *path = "/run/bench_channel";
constexpr uint32_t capacity_bytes = 409600 + 32;

class Shbf : public Transport {
  public:
    std::string name() const override { return "strell: shared-buffer channel"; }

    /* The broadcaster is made after the fork, as in life; receivers wait for it. */
    void open_sender() override {
        loop_ = ev_loop_new(EVFLAG_AUTO);
        brd_ = shbfev_brd_create(path);
        if (shbfev_brd_start(loop_, brd_) < 0) {
            fail("cannot start the channel");
        }
        thread_ = std::thread([this] { ev_run(loop_, 0); });
        thread_.detach(); // ends with the process
    }
    void send(uint32_t size) override {
        auto *buffer = static_cast<uint8_t *>(shbfev_brd_alloc(brd_, capacity_bytes));
        if (buffer == nullptr) {
            fail("no room");
        }
        buffer[size - 1] = 1;
        shbf_set_size(buffer, size);
        const uint64_t time = now_ns();
        std::memcpy(buffer, &time, sizeof time);
        shbfev_brd_broadcast(brd_, buffer);
    }
    void open_receiver(int /*index*/) override {
        while ((receiver_ = shbf_rcv_open(path, nullptr)) == nullptr) {
            usleep(1000);
        }
    }
    uint64_t receive() override {
        shbf_event_t event;
        if (shbf_rcv_next(receiver_, &event, -1) != 1) {
            fail("no frame");
        }
        uint64_t time = 0;
        std::memcpy(&time, event.frame.data, sizeof time);
        shbf_rcv_release(receiver_, &event.frame);
        return time;
    }

  private:
    struct ev_loop *loop_ = nullptr;
    shbfev_brd_t *brd_ = nullptr;
    std::thread thread_;
    shbf_rcv_t *receiver_ = nullptr;
};

} // namespace

std::unique_ptr<Transport> make_shbf(int /*receivers*/) {
    return std::make_unique<Shbf>();
}

} // namespace bench
