#include "broadcaster.h"

#include "libshbf.h"
#include "libvuto_util.h"
#include "producer.h"
#include "self_check.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ev.h>
#include <list>
#include <set>
#include <string>
#include <thread>

/* Instead of the library's: lines about receivers that are turned away are what is to be expected here. */
extern "C" int log_warning(const char * /*format*/, ...) {
    return 0;
}

namespace stress {

namespace {

constexpr double tick_s = 0.001;
constexpr uint32_t quiet_frame_bytes = 12000;

/* A channel with its callbacks; all on the loop's thread. */
class LoopSide {
  public:
    LoopSide(Scoreboard *board, Channel channel, uint64_t generation, uint64_t seed) : random_(seed) {
        stage.board = board;
        stage.channel = channel;
        stage.generation = generation;
        stage.brd = shbfev_brd_create(channel_paths[channel]);
        shbfev_brd_event(stage.brd, SHBFEV_SERVER_CLOSED, SHBFEV_CALLBACK(on_server_closed), this);
        shbfev_brd_event(stage.brd, SHBFEV_RECEIVER_NEW, SHBFEV_CALLBACK(on_new), this);
        shbfev_brd_event(stage.brd, SHBFEV_RECEIVER_CLOSED, SHBFEV_CALLBACK(on_closed), this);
        shbfev_brd_event(stage.brd, SHBFEV_RECEIVER_ERROR, SHBFEV_CALLBACK(on_error), this);
        shbfev_brd_event(stage.brd, SHBFEV_MESSAGE, SHBFEV_CALLBACK(on_message), this);
    }

    /* A frame from which each witness can tell whether it has got, or has been told that it missed,
     * everything. The producers wait. False when there is no room for it now. */
    bool publish_account() {
        void *buffer = shbfev_brd_alloc(stage.brd, content_least);
        if (buffer == nullptr) {
            return false;
        }
        Head head{};
        head.content = Content::account;
        head.size = content_least;
        head.channel = stage.channel;
        head.target = nobody;
        head.generation = stage.generation;
        head.published_ns = now_ns();
        for (uint32_t i = 0; i < witnesses; ++i) {
            head.expected[i] = stage.expected[i].fetch_add(1);
        }
        fill(buffer, head);
        shbfev_brd_broadcast(stage.brd, buffer);
        return true;
    }

    void publish_quietly() {
        for (uint32_t i = 0; i < quiet_frames; ++i) {
            if (!publish_one_quietly()) {
                fail(stage.board, "quiet: no room though nobody holds anything");
            }
        }
    }

    /* False when there is no room. */
    bool publish_one_quietly() {
        void *buffer = shbfev_brd_alloc(stage.brd, quiet_frame_bytes);
        if (buffer == nullptr) {
            return false;
        }
        Head head{};
        head.content = Content::broadcast;
        head.size = quiet_frame_bytes;
        head.channel = stage.channel;
        head.target = nobody;
        head.number = ++quiet_number_;
        fill(buffer, head);
        return shbfev_brd_broadcast(stage.brd, buffer) >= 0;
    }

    Stage stage;

  private:
    static LoopSide *self(void *user) { return static_cast<LoopSide *>(user); }
    static int32_t on_server_closed(void *user) {
        fail(self(user)->stage.board, "%s: the channel closed", channel_names[self(user)->stage.channel]);
        return 0;
    }
    static int32_t on_new(void *user, int32_t receiver) {
        Stage &stage = self(user)->stage;
        if (receiver <= self(user)->last_id_ || !self(user)->open_.insert(receiver).second) {
            fail(stage.board, "%s: receiver %d attaches a second time", channel_names[stage.channel],
                 receiver);
        }
        self(user)->last_id_ = receiver;
        stage.latest_id = receiver;
        ++stage.board->attached;
        stage.board->quiet_attached += stage.channel == quiet ? 1 : 0;
        return 0;
    }
    static int32_t on_closed(void *user, int32_t receiver) {
        Stage &stage = self(user)->stage;
        if (self(user)->open_.erase(receiver) != 1) {
            fail(stage.board, "%s: receiver %d closes that is not there", channel_names[stage.channel],
                 receiver);
        }
        if (stage.channel == quiet) {
            stage.board->quiet_detached_ns = now_ns();
        }
        return 0;
    }
    /* Keeps most, so that they can go on. */
    static int32_t on_error(void *user, int32_t receiver, int32_t error) {
        Stage &stage = self(user)->stage;
        stage.board->skips += error == EAGAIN ? 1 : 0;
        stage.board->given_up += error == ETIMEDOUT ? 1 : 0;
        if (!stage.is_witness(receiver)) {
            return error == EAGAIN || !self(user)->random_.one_in(4) ? -1 : 0;
        }
        if (error != ETIMEDOUT && (error != EAGAIN || stage.channel == steady)) {
            fail(stage.board, "%s: witness %d has error %d", channel_names[stage.channel], receiver, error);
        }
        return -1;
    }
    /* A witness introduces itself: "witness INDEX". */
    static int32_t on_message(void *user, int32_t receiver, const void *bytes, int32_t length) {
        Stage &stage = self(user)->stage;
        const std::string text(static_cast<const char *>(bytes), static_cast<size_t>(length));
        for (uint32_t i = 0; i < witnesses && stage.channel != quiet; ++i) {
            if (text == "witness " + std::to_string(i)) {
                stage.witness_ids[i] = receiver;
                ++stage.board->registered[stage.channel];
            }
        }
        return 0;
    }

    Random random_;
    int32_t last_id_ = 0;
    uint32_t quiet_number_ = 0;
    std::set<int32_t> open_;
};

class Broadcaster {
  public:
    Broadcaster(Scoreboard *board, uint64_t generation, uint64_t seed)
        : board_(board), generation_(generation), seed_(seed), loop_(ev_loop_new(EVFLAG_AUTO)) {}

    int run() {
        for (uint32_t i = 0; i < channel_count; ++i) {
            sides_.emplace_back(board_, static_cast<Channel>(i), generation_, seed_ + i);
            const auto start = [this] { return shbfev_brd_start(loop_, sides_.back().stage.brd); };
            if (!eventually([&] { return start() >= 0; })) {
                fail(board_, "%s: cannot be opened", channel_names[i]);
                return 1;
            }
        }
        ev_timer_init(&tick_, on_tick, tick_s, tick_s);
        tick_.data = this;
        ev_timer_start(loop_, &tick_);
        self_check_.start();
        board_->serving = generation_;
        ev_run(loop_, 0);
        for (std::thread &thread : threads_) {
            thread.join();
        }
        ev_loop_destroy(loop_);
        return 0;
    }

  private:
    static void on_tick(struct ev_loop * /*loop*/, ev_timer *watcher, int /*revents*/) {
        static_cast<Broadcaster *>(watcher->data)->tick();
    }

    LoopSide &side(Channel channel) { return *std::next(sides_.begin(), channel); }

    void tick() {
        if (threads_.empty() && board_->registered[steady] == witnesses &&
            board_->registered[busy] == witnesses) {
            start_producers();
        }
        if (board_->account_done != board_->account_request && side(steady).publish_account() &&
            side(busy).publish_account()) {
            board_->account_done = board_->account_request.load();
        }
        if (board_->churn) {
            side(quiet).publish_one_quietly();
        }
        if (board_->quiet_done != board_->quiet_request) {
            side(quiet).publish_quietly();
            board_->quiet_done = board_->quiet_request.load();
        }
        if (board_->check_done != board_->check_request && self_check_.settled(board_)) {
            board_->check_done = board_->check_request.load();
        }
        if (board_->end_generation == generation_) {
            end();
        }
    }

    void start_producers() {
        for (uint32_t channel = 0; channel < streaming_channels; ++channel) {
            for (uint32_t number = 0; number < producers; ++number) {
                Stage *stage = &side(static_cast<Channel>(channel)).stage;
                threads_.emplace_back([=, seed = seed_ + channel * producers + number] {
                    Producer(stage, number, seed).run();
                });
            }
        }
    }

    /* The producers are still at it, and go on for a while. */
    void end() {
        ev_timer_stop(loop_, &tick_);
        for (LoopSide &side : sides_) {
            side.stage.closing = true;
            shbfev_brd_destroy(side.stage.brd);
            side.stage.destroyed = true;
        }
        pause_us(20000);
        for (LoopSide &side : sides_) {
            side.stage.stop = true;
        }
        ev_break(loop_, EVBREAK_ALL);
    }

    Scoreboard *board_;
    uint64_t generation_;
    uint64_t seed_;
    struct ev_loop *loop_;
    ev_timer tick_{};
    std::list<LoopSide> sides_;
    std::list<std::thread> threads_;
    SelfCheck self_check_;
};

} // namespace

int run_broadcaster(Scoreboard *board, uint64_t generation, uint64_t seed) {
    return Broadcaster(board, generation, seed).run();
}

} // namespace stress
