#include "board/boardd/analytics/analytics.h"

#include "board/client/control_call.h"

#include <csignal>
#include <pthread.h>
#include <utility>

namespace board {

namespace {

/* How long to wait for a picture, before the end of a motion is looked for without one. */
constexpr int32_t idle_ms = 500;
constexpr int32_t rest_ms = 60'000; // when there is none to come

} // namespace

Analytics::Analytics(struct ev_loop *loop, std::function<void()> channel_lost)
    : channel_(loop, std::move(channel_lost)) {
    // Signals are the loop thread's.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    thread_ = std::thread([this] { work(); });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

Analytics::~Analytics() {
    ending_ = true;
    tap_.wake();
    thread_.join();
}

void Analytics::set(const AnalyticsSettings &settings) {
    if (settings == settings_) {
        return;
    }
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        settings_ = settings;
    }
    sound_threshold_ = settings.sound_threshold;
    hearing_ = settings.detecting;
    tap_.open((settings.detecting && settings.motion) || settings.tracking);
    tap_.wake();
}

AnalyticsCounts Analytics::counts() const {
    return {frames_, relearnt_, events_, directions_, sounds_};
}

/* ---- the audio thread ---- */

void Analytics::hear(std::span<const int16_t> samples) {
    const bool hearing = hearing_.load(std::memory_order_relaxed);
    if (!std::exchange(heard_, hearing) && hearing) {
        ear_.forget();
    }
    if (!hearing) {
        return;
    }
    ear_.set_threshold(sound_threshold_.load(std::memory_order_relaxed));
    const std::optional<std::string> text = ear_.hear(samples);
    if (text) {
        ++sounds_; // first: who hears of it finds it counted
        channel_.tell(*text, monotonic_us());
    }
}

/* ---- the analytics thread ---- */

void Analytics::work() {
    pthread_setname_np(pthread_self(), "analytics");
    TappedFrame frame;
    while (!ending_) {
        const bool came = tap_.wait(&frame, watching_ ? idle_ms : rest_ms);
        follow_settings();
        if (came) {
            judge(frame);
        } else if (watching_) {
            tell(report_.step(std::nullopt, monotonic_us()), monotonic_us());
        }
    }
}

void Analytics::follow_settings() {
    const Sensitivity sensitivity = used_.sensitivity;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        used_ = settings_;
    }
    if (used_.sensitivity != sensitivity) {
        detector_.set(used_.sensitivity);
    }
    const bool was_watching = std::exchange(watching_, used_.detecting && used_.motion);
    if (was_watching && !watching_) {
        // Who has paused detection hears no more; who has stopped motion alone hears of its end.
        const std::optional<std::string> end = report_.stop();
        if (used_.detecting) {
            tell(end, monotonic_us());
        }
    }
    if (!watching_ && !used_.tracking) {
        detector_.forget();
    }
}

void Analytics::judge(const TappedFrame &frame) {
    if (!watching_ && !used_.tracking) {
        return; // taken before that was so
    }
    const cv::Mat luma(frame.height, frame.width, CV_8UC1, const_cast<uint8_t *>(frame.luma.data()));
    const std::optional<Motion> motion = detector_.see(luma, frame.time_us, frame.look);
    ++frames_;
    relearnt_ = detector_.relearnt();
    if (watching_) {
        tell(report_.step(motion, frame.time_us), frame.time_us);
    }
    const std::optional<TrackDirection> direction =
        used_.tracking ? rule_.step(motion, frame.time_us) : std::nullopt;
    if (direction) {
        ++directions_;
        channel_.tell(*direction, frame.time_us);
    }
}

void Analytics::tell(const std::optional<std::string> &text, uint64_t time_us) {
    if (text) {
        ++events_;
        channel_.tell(*text, time_us);
    }
}

} // namespace board
