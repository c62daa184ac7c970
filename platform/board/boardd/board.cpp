#include "board/boardd/board.h"

#include "board/boardd/log.h"
#include "board/client/control_call.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <utility>

namespace board {

namespace {

constexpr ev_tstamp seconds(int32_t ms) {
    return static_cast<ev_tstamp>(ms) / 1000.0;
}

constexpr int32_t tick_ms = 250;

} // namespace

Board::Board(struct ev_loop *loop, Source source, const std::function<void()> &channel_lost)
    : loop_(loop), source_(std::move(source)), snapshots_(loop) {
    for (size_t i = 0; i < channel_count; ++i) {
        channels_[i] = std::make_unique<EncoderChannel>(
            loop_, static_cast<int32_t>(i),
            EncoderChannel::Callbacks{[this] { ev_async_send(loop_, &progress_); },
                                      [this, i] { request_key_frame(static_cast<int32_t>(i)); },
                                      channel_lost});
    }
    ev_async_init(&progress_, on_progress);
    ev_timer_init(&init_deadline_, on_init_deadline, seconds(init_patience_ms), 0.0);
    ev_timer_init(&retry_, on_retry, seconds(retry_ms), 0.0);
    ev_timer_init(&tick_, on_tick, seconds(tick_ms), seconds(tick_ms));
    progress_.data = init_deadline_.data = retry_.data = tick_.data = this;
    ev_async_start(loop_, &progress_);
}

Board::~Board() {
    power_off();
    ev_async_stop(loop_, &progress_);
}

int32_t Board::set_profile(const VencConfig &profile) {
    const std::string objection = profile_objection(profile);
    if (!objection.empty()) {
        log_line("profile refused: %s", objection.c_str());
        return -EINVAL;
    }
    const std::optional<VencConfig> old_profile = std::exchange(profile_, profile);
    if (phase_ != Phase::idle) {
        change_running(*old_profile);
    }
    return 0;
}

/* Restarts what the new profile changes, and only that. */
void Board::change_running(const VencConfig &old_profile) {
    const bool other_capture = !(capture_format(old_profile) == capture_format(*profile_));
    if (other_capture) {
        stop_capture();
    }
    for (size_t i = 0; i < channel_count; ++i) {
        if (!same_encoding(old_profile.channel[i], profile_->channel[i])) {
            stop_encoder(i);
            start_encoder(i);
        }
    }
    if (other_capture) {
        start_capture();
    }
}

void Board::init(int32_t bind_status, InitAnswer answer) {
    if (phase_ != Phase::idle || !profile_) {
        answer(profile_ ? -EALREADY : -EINVAL);
        return;
    }
    phase_ = Phase::starting;
    bind_status_ = bind_status;
    init_answer_ = std::move(answer);
    power_(true);
    ev_timer_set(&init_deadline_, seconds(init_patience_ms), 0.0);
    ev_timer_start(loop_, &init_deadline_);
    ev_timer_again(loop_, &tick_);
    last_picture_ = ev_now(loop_);
    for (size_t i = 0; i < channel_count; ++i) {
        start_encoder(i);
    }
    start_capture();
}

void Board::power_off() {
    stop_everything();
    picture_.world().reset_board();
    profile_.reset();
}

void Board::stop_everything() {
    if (phase_ == Phase::starting) {
        finish_init(-ECANCELED);
    }
    phase_ = Phase::idle;
    ev_timer_stop(loop_, &init_deadline_);
    ev_timer_stop(loop_, &retry_);
    ev_timer_stop(loop_, &tick_);
    stop_capture();
    for (size_t i = 0; i < channel_count; ++i) {
        stop_encoder(i);
        channels_[i]->release(Cause::source);
        channels_[i]->release(Cause::stopped);
    }
    power_(false);
    streaming_ = true;
    picture_.set(PictureSettings());
    snapshots_.cancel();
    bind_status_ = 0;
    source_error_.clear();
}

int32_t Board::request_key_frame(int32_t index) {
    if (phase_ == Phase::idle) {
        return -ENODEV;
    }
    const std::unique_ptr<Encoder> &encoder = encoders_[static_cast<size_t>(index)];
    if (encoder != nullptr) {
        encoder->request_key_frame();
    }
    return 0;
}

void Board::set_streaming(bool on) {
    if (on == streaming_) {
        return;
    }
    streaming_ = on;
    for (const std::unique_ptr<EncoderChannel> &channel : channels_) {
        if (on) {
            channel->release(Cause::stopped);
        } else {
            channel->hold(Cause::stopped, {true, 0, 0});
        }
    }
}

int32_t Board::set_bitrate(uint32_t index, uint32_t bitrate) {
    if (phase_ == Phase::idle) {
        return -ENODEV;
    }
    if (index >= channel_count || bitrate > static_cast<uint32_t>(bitrate_max)) {
        return -EINVAL;
    }
    const int32_t target = std::max(static_cast<int32_t>(bitrate), bitrate_min);
    profile_->channel[index].bitrate = target;
    if (encoders_[index] == nullptr || !encoders_[index]->set_bitrate(target)) {
        stop_encoder(index);
        start_encoder(index);
    }
    return 0;
}

void Board::take_raw(GstBuffer *buffer, GstCaps *caps) {
    snapshots_.offer(buffer, caps, picture_.changes_shown());
    if (!streaming_) {
        return;
    }
    const std::lock_guard<std::mutex> lock(encoders_mutex_);
    for (const std::unique_ptr<Encoder> &encoder : encoders_) {
        if (encoder != nullptr) {
            encoder->take_raw(buffer, caps);
        }
    }
}

void Board::look_at(const Plane &y, uint32_t look) {
    onlooker_(y, monotonic_us(), look);
}

void Board::start_encoder(size_t index) {
    const VencChannel &encoding = profile_->channel[index];
    channels_[index]->encoder_starts(encoding);
    std::unique_ptr<Encoder> encoder;
    try {
        encoder =
            std::make_unique<Encoder>(loop_, encoding, *channels_[index],
                                      [this, index](const std::string &why) { encoder_failed(index, why); });
    } catch (const std::runtime_error &error) {
        encoder_failed(index, error.what());
        return;
    }
    log_line("channel %zu: %s %dx%d, %d fps, %d bit/s", index, encoding_name(encoding.pt), encoding.width,
             encoding.height, encoding.fps, encoding.bitrate);
    const std::lock_guard<std::mutex> lock(encoders_mutex_);
    encoders_[index] = std::move(encoder);
}

/* Out of the capture's sight first, then stopped: stopping waits for the encoder's thread. */
void Board::stop_encoder(size_t index) {
    std::unique_ptr<Encoder> encoder;
    const std::lock_guard<std::mutex> lock(encoders_mutex_);
    encoder = std::move(encoders_[index]);
}

void Board::encoder_failed(size_t index, const std::string &why) {
    log_line("channel %zu: the encoder failed: %s; it is started again", index, why.c_str());
    stop_encoder(index);
    retry_soon();
}

void Board::start_capture() {
    capture_started_ = ev_now(loop_);
    try {
        capture_ = std::make_unique<Capture>(
            loop_, source_, capture_format(*profile_), picture_, *this,
            Pipeline::Callbacks{[this](const std::string &why) { capture_failed(why); },
                                [this] { capture_ended(); }});
    } catch (const std::runtime_error &error) {
        capture_failed(error.what());
    }
}

void Board::stop_capture() {
    if (capture_ != nullptr) {
        captured_before_ += capture_->frames();
        capture_.reset();
    }
}

void Board::capture_failed(const std::string &why) {
    stop_capture();
    captured_seen_ = captured(); // the last frames before the failure are no sign of life
    if (why != source_error_) {
        log_line("source \"%s\" failed: %s", source_.name().c_str(), why.c_str());
    }
    source_error_ = why;
    if (phase_ == Phase::starting) {
        finish_init(-EIO);
        stop_everything();
    } else {
        retry_soon();
    }
}

void Board::capture_ended() {
    const bool brought_something = capture_->frames() > 0;
    if (!brought_something) {
        capture_failed("it ended without a picture");
        return;
    }
    stop_capture();
    start_capture(); // a file begins again
}

void Board::retry_soon() {
    if (!ev_is_active(&retry_)) {
        ev_timer_set(&retry_, seconds(retry_ms), 0.0);
        ev_timer_start(loop_, &retry_);
    }
}

void Board::on_retry(struct ev_loop * /*loop*/, ev_timer *watcher, int /*events*/) {
    auto *self = static_cast<Board *>(watcher->data);
    for (size_t i = 0; i < channel_count; ++i) {
        if (self->encoders_[i] == nullptr) {
            self->start_encoder(i);
        }
    }
    if (self->capture_ == nullptr) {
        self->start_capture();
    }
}

void Board::on_tick(struct ev_loop * /*loop*/, ev_timer *watcher, int /*events*/) {
    static_cast<Board *>(watcher->data)->watch_source();
}

void Board::watch_source() {
    const ev_tstamp now = ev_now(loop_);
    if (captured() != captured_seen_) {
        captured_seen_ = captured();
        last_picture_ = now;
        if (!source_error_.empty()) {
            log_line("source \"%s\" brings pictures again", source_.name().c_str());
            source_error_.clear();
        }
    }
    const bool dead = now - last_picture_ > seconds(source_patience_ms);
    if (dead && source_error_.empty()) {
        source_error_ = "it brings no pictures";
        log_line("source \"%s\" failed: %s", source_.name().c_str(), source_error_.c_str());
    }
    for (const std::unique_ptr<EncoderChannel> &channel : channels_) {
        if (!dead) {
            channel->release(Cause::source);
        } else if (!channel->held(Cause::source)) {
            channel->hold(Cause::source, {false, -1, 0});
        }
        channel->repeat_answers();
    }
    if (dead && capture_ != nullptr && now - capture_started_ > seconds(source_stuck_ms)) {
        stop_capture();
        start_capture();
    }
}

void Board::on_progress(struct ev_loop * /*loop*/, ev_async *watcher, int /*events*/) {
    static_cast<Board *>(watcher->data)->check_progress();
}

void Board::check_progress() {
    for (const std::unique_ptr<EncoderChannel> &channel : channels_) {
        if (!channel->has_frames()) {
            return;
        }
    }
    if (phase_ == Phase::starting) {
        finish_init(0);
    }
}

void Board::on_init_deadline(struct ev_loop * /*loop*/, ev_timer *watcher, int /*events*/) {
    auto *self = static_cast<Board *>(watcher->data);
    log_line("source \"%s\" is slow: no picture so far", self->source_.name().c_str());
    self->finish_init(0);
}

/* Answers the init that is in progress. */
void Board::finish_init(int32_t result) {
    ev_timer_stop(loop_, &init_deadline_);
    phase_ = result < 0 ? Phase::idle : Phase::running;
    const InitAnswer answer = std::exchange(init_answer_, nullptr);
    answer(result);
}

} // namespace board
