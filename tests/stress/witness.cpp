#include "witness.h"

#include <algorithm>
#include <cerrno>
#include <ev.h>
#include <poll.h>
#include <string>
#include <vector>

namespace stress {

namespace {

/* Waits for a generation that this witness has not been given up by. False when it is to end. */
bool await_generation(Scoreboard *board, const WitnessSlot &slot, uint64_t *generation) {
    while (!board->ending && board->failures == 0) {
        *generation = board->serving;
        if (*generation != 0 && *generation == board->generation && *generation != slot.retired) {
            return true;
        }
        pause_us(1000);
    }
    return false;
}

/* On blocking receivers. */
class Waiter {
  public:
    Waiter(Scoreboard *board, Channel channel, uint32_t witness)
        : board_(board), channel_(channel), witness_(witness), checker_(board, channel, witness),
          random_(witness + 1) {}

    int run() {
        uint64_t generation = 0;
        while (await_generation(board_, board_->slots[channel_][witness_], &generation)) {
            // Hostile ones may have taken all the places for the moment.
            receiver_ = shbf_rcv_open(channel_paths[channel_], nullptr);
            if (receiver_ == nullptr || board_->generation != generation) {
                shbf_rcv_close(receiver_); // it may be that of the next generation
                pause_us(2000);
                continue;
            }
            checker_.attached(generation);
            const std::string text = "witness " + std::to_string(witness_);
            shbf_rcv_send(receiver_, text.data(), static_cast<uint32_t>(text.size()));
            checker_.ended(receive());
            held_.clear();
            shbf_rcv_close(receiver_);
        }
        return 0;
    }

  private:
    /* Until the connection ends; tells why. */
    int receive() {
        shbf_event_t event;
        int result = 0;
        while ((result = next(&event)) >= 0 || result == -EINTR) {
            if (result == 0) {
                release_down_to(0);
            } else if (result == 1 && event.kind == SHBF_EVENT_MESSAGE) {
                checker_.take_message(event.message.bytes, event.message.length);
            } else if (result == 1) {
                checker_.take(event.frame);
                held_.push_back(event.frame);
                release_down_to(checker_.manner() == slow ? random_.below(4) : 0);
            }
        }
        return result;
    }

    int next(shbf_event_t *event) {
        switch (checker_.manner()) {
        case polling:
            return next_polling(event, -1);
        case mixed:
            return next_mixed(event);
        case slow:
            return shbf_rcv_next(receiver_, event, 20);
        default:
            return shbf_rcv_next(receiver_, event, -1);
        }
    }

    int next_polling(shbf_event_t *event, int timeout_ms) {
        int result = shbf_rcv_next(receiver_, event, 0);
        while (result == 0) {
            pollfd poller = {shbf_rcv_fd(receiver_), POLLIN, 0};
            if (poll(&poller, 1, timeout_ms) == 0) {
                return 0;
            }
            result = shbf_rcv_next(receiver_, event, 0);
        }
        return result;
    }

    /* Sleeps on the word for a moment, and then for good on the socket. */
    int next_mixed(shbf_event_t *event) {
        const int result =
            random_.one_in(4) ? 0 : shbf_rcv_next(receiver_, event, static_cast<int32_t>(random_.below(3)));
        return result != 0 ? result : next_polling(event, -1);
    }

    void release_down_to(size_t count) {
        while (held_.size() > count) {
            std::swap(held_[random_.below(static_cast<uint32_t>(held_.size()))], held_.back());
            checker_.look_again(held_.back());
            shbf_rcv_release(receiver_, &held_.back());
            held_.pop_back();
            checker_.released();
        }
    }

    Scoreboard *board_;
    Channel channel_;
    uint32_t witness_;
    Checker checker_;
    Random random_;
    shbf_rcv_t *receiver_ = nullptr;
    std::vector<shbf_frame_t> held_;
};

/* On a libev loop. */
class Looper {
  public:
    Looper(Scoreboard *board, Channel channel, uint32_t witness)
        : board_(board), channel_(channel), witness_(witness), checker_(board, channel, witness),
          loop_(ev_loop_new(EVFLAG_AUTO)) {}
    ~Looper() { ev_loop_destroy(loop_); }
    Looper(const Looper &) = delete;
    Looper &operator=(const Looper &) = delete;

    int run() {
        const shbfev_rcv_callbacks_t callbacks = {on_attached, on_frame, on_message, on_closed};
        while (await_generation(board_, board_->slots[channel_][witness_], &generation_)) {
            attached_ = false;
            shbfev_rcv_t *receiver =
                shbfev_rcv_open(loop_, channel_paths[channel_], nullptr, &callbacks, this);
            if (receiver != nullptr) {
                ev_run(loop_, 0);
                shbfev_rcv_close(receiver);
            }
            if (!attached_) {
                pause_us(2000);
            }
        }
        return 0;
    }

  private:
    static Looper *self(void *user) { return static_cast<Looper *>(user); }
    static void on_attached(void *user, shbfev_rcv_t *receiver) {
        if (self(user)->board_->generation != self(user)->generation_) {
            ev_break(self(user)->loop_, EVBREAK_ALL); // it may be that of the next generation
            return;
        }
        self(user)->attached_ = true;
        self(user)->checker_.attached(self(user)->generation_);
        const std::string text = "witness " + std::to_string(self(user)->witness_);
        shbfev_rcv_send(receiver, text.data(), static_cast<uint32_t>(text.size()));
    }
    static void on_frame(void *user, shbfev_rcv_t *receiver, const shbf_frame_t *frame) {
        self(user)->checker_.take(*frame);
        shbfev_rcv_release(receiver, frame);
        self(user)->checker_.released();
    }
    static void on_message(void *user, shbfev_rcv_t * /*receiver*/, const void *bytes, uint32_t length) {
        self(user)->checker_.take_message(bytes, length);
    }
    static void on_closed(void *user, shbfev_rcv_t * /*receiver*/, int32_t reason) {
        if (self(user)->attached_) {
            self(user)->checker_.ended(reason);
        }
        ev_break(self(user)->loop_, EVBREAK_ALL);
    }

    Scoreboard *board_;
    Channel channel_;
    uint32_t witness_;
    Checker checker_;
    struct ev_loop *loop_;
    uint64_t generation_ = 0;
    bool attached_ = false;
};

} // namespace

int run_witness(Scoreboard *board, Channel channel, uint32_t witness) {
    return manner_of(channel, witness) == on_loop ? Looper(board, channel, witness).run()
                                                  : Waiter(board, channel, witness).run();
}

} // namespace stress
