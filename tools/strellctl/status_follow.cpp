#include "strellctl/status_follow.h"

#include "strellctl/clock.h"
#include "strellctl/failure.h"
#include "strellctl/format_json.h"
#include "strellctl/interrupt.h"
#include "strellctl/json.h"
#include "strellctl/live_lines.h"
#include "strellctl/output.h"
#include "strellctl/wording.h"

#include <array>
#include <ev.h>
#include <exception>
#include <memory>
#include <unistd.h>
#include <vector>

namespace ctl {

FollowedStream::FollowedStream(struct ev_loop *loop, const Stream &stream) : loop_(loop), stream_(stream) {
    open();
}

FollowedStream::~FollowedStream() {
    shbfev_rcv_close(receiver_);
}

void FollowedStream::open() {
    static constexpr shbfev_rcv_callbacks_t callbacks = {
        .attached =
            [](void *user, shbfev_rcv_t * /*receiver*/) {
                static_cast<FollowedStream *>(user)->attached_ = true;
            },
        .frame =
            [](void *user, shbfev_rcv_t *receiver, const shbf_frame_t *frame) {
                static_cast<FollowedStream *>(user)->on_frame(*frame);
                shbfev_rcv_release(receiver, frame);
            },
        .message = nullptr,
        .closed = [](void *user, shbfev_rcv_t * /*receiver*/,
                     int32_t /*reason*/) { static_cast<FollowedStream *>(user)->on_closed(); },
    };
    statistics_ = {};
    format_ = {};
    receiver_ = shbfev_rcv_open(loop_, stream_.path, nullptr, &callbacks, this);
}

void FollowedStream::on_frame(const shbf_frame_t &frame) {
    const std::optional<FrameView> view = view_frame(frame);
    if (view) {
        statistics_.add({view->info.timestamp_us, monotonic_us(), view->info.seq, view->info.len,
                         view->info.is_key != 0, frame.skipped});
        format_.add(*view);
    }
}

void FollowedStream::on_closed() {
    shbfev_rcv_close(receiver_);
    receiver_ = nullptr;
    attached_ = false;
    others_ = 0;
}

void FollowedStream::look() {
    constexpr int32_t answer_ms = 200;
    if (receiver_ == nullptr) {
        open();
    } else if (attached_) {
        shbf_channel_info_t info{};
        const bool answered = shbf_channel_query(stream_.path, &info, answer_ms) == 0;
        others_ = answered && info.receivers > 0 ? info.receivers - 1 : 0; // this one is among them
    }
}

FollowedStream::State FollowedStream::state(uint64_t now_us) const {
    return {.stream = &stream_,
            .attached = attached_,
            .receivers = others_,
            .format = format_.format(),
            .fps = statistics_.fps(now_us),
            .bits_per_s = statistics_.bits_per_s(now_us),
            .frames = statistics_.totals().frames,
            .lost = statistics_.totals().lost};
}

std::string state_line(const FollowedStream::State &state) {
    if (!state.attached) {
        return format("%-4s  waits for strell_v2", state.stream->name);
    }
    const std::string receivers = count_text(state.receivers, "receiver");
    if (state.frames == 0) {
        return format("%-4s  no frames yet  %s", state.stream->name, receivers.c_str());
    }
    return format("%-4s  %s  %4.1f fps  %s  %s", state.stream->name, format_text(state.format).c_str(),
                  state.fps, bitrate_text(state.bits_per_s).c_str(), receivers.c_str());
}

namespace {

JsonObject state_object(const FollowedStream::State &state) {
    JsonObject object;
    object.add("attached", state.attached).add("receivers", state.receivers);
    add_format(&object, state.format);
    object.add("fps", state.fps, 2).add("bits_per_s", static_cast<int64_t>(state.bits_per_s));
    object.add("frames", state.frames).add("lost", state.lost);
    return object;
}

/* What makes a new line in a pipe worth while before its time. */
bool differs(const FollowedStream::State &one, const FollowedStream::State &other) {
    return one.attached != other.attached || one.receivers != other.receivers || one.format != other.format ||
           (one.fps > 0) != (other.fps > 0);
}

class Follow {
  public:
    Follow(struct ev_loop *loop, bool json)
        : loop_(loop),
          json_(json), streams_{FollowedStream(loop, streams[0]), FollowedStream(loop, streams[1])} {
        ev_timer_init(&timer_, on_second, 0.2, 1.0);
        ev_io_init(&interrupted_, on_interrupt, interrupt_.fd(), EV_READ);
        timer_.data = this;
        ev_timer_start(loop_, &timer_);
        ev_io_start(loop_, &interrupted_);
    }
    ~Follow() {
        ev_timer_stop(loop_, &timer_);
        ev_io_stop(loop_, &interrupted_);
    }
    Follow(const Follow &) = delete;
    Follow &operator=(const Follow &) = delete;

    /* Returns at Ctrl-C; throws what telling has thrown. */
    void run() {
        ev_run(loop_, 0);
        if (failure_) {
            std::rethrow_exception(failure_);
        }
    }

  private:
    /* An exception must not pass through the loop, which is C. */
    static void on_second(struct ev_loop *loop, ev_timer *timer, int /*revents*/) {
        auto *self = static_cast<Follow *>(timer->data);
        try {
            self->tell();
        } catch (...) {
            self->failure_ = std::current_exception();
            ev_break(loop, EVBREAK_ALL);
        }
    }
    static void on_interrupt(struct ev_loop *loop, ev_io * /*watcher*/, int /*revents*/) {
        ev_break(loop, EVBREAK_ALL);
    }

    void tell();
    void tell_pipe(const std::vector<FollowedStream::State> &states, uint64_t now_us);
    static void tell_json(const std::vector<FollowedStream::State> &states);

    struct ev_loop *loop_;
    const bool json_;
    const bool terminal_ = is_terminal(STDOUT_FILENO);
    const Interrupt interrupt_;
    ev_timer timer_{};
    ev_io interrupted_{};
    std::array<FollowedStream, streams.size()> streams_;
    LiveLines live_{STDOUT_FILENO};
    std::vector<FollowedStream::State> told_; // in a pipe
    uint64_t told_us_ = 0;
    std::exception_ptr failure_;
};

void Follow::tell() {
    const uint64_t now = monotonic_us();
    std::vector<FollowedStream::State> states;
    for (FollowedStream &stream : streams_) {
        stream.look();
        states.push_back(stream.state(now));
    }
    if (json_) {
        tell_json(states);
    } else if (terminal_) {
        std::vector<std::string> lines;
        for (const FollowedStream::State &state : states) {
            lines.push_back(state_line(state));
        }
        live_.show(lines);
    } else {
        tell_pipe(states, now);
    }
}

void Follow::tell_json(const std::vector<FollowedStream::State> &states) {
    JsonObject object;
    for (const FollowedStream::State &state : states) {
        object.add(state.stream->name, state_object(state));
    }
    print_line(object.text());
}

void Follow::tell_pipe(const std::vector<FollowedStream::State> &states, uint64_t now_us) {
    constexpr uint64_t quiet_us = 10 * us_per_s;
    const bool all = told_.empty() || now_us - told_us_ >= quiet_us;
    for (size_t i = 0; i < states.size(); ++i) {
        if (all || differs(told_[i], states[i])) {
            print_line(state_line(states[i]));
        }
    }
    told_ = states;
    told_us_ = all ? now_us : told_us_;
}

struct LoopDestroy {
    void operator()(struct ev_loop *loop) const { ev_loop_destroy(loop); }
};

} // namespace

int follow_status(bool json) {
    const std::unique_ptr<struct ev_loop, LoopDestroy> loop(ev_loop_new(EVFLAG_AUTO));
    Follow(loop.get(), json).run();
    return exit_good;
}

} // namespace ctl
