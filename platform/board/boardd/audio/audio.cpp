#include "board/boardd/audio/audio.h"

#include "board/boardd/audio/volume.h"
#include "board/boardd/log.h"
#include "board/client/control_call.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <pthread.h>
#include <utility>

namespace board {

namespace {

constexpr ev_tstamp tick_s = 0.25;
constexpr uint64_t late_max_us = 1'000'000;

void sleep_until(uint64_t time_us) {
    const timespec time = {static_cast<time_t>(time_us / 1'000'000U),
                           static_cast<long>(time_us % 1'000'000U) * 1000};
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr) == EINTR) {
    }
}

} // namespace

Audio::Audio(struct ev_loop *loop, const AudioSettings &settings, std::function<void()> channel_lost)
    : loop_(loop), echo_(settings.echo), channel_(loop, std::move(channel_lost)),
      microphone_(make_microphone(loop, settings.microphone)),
      loudspeaker_(make_loudspeaker(loop, settings.speaker)), volume_(volume_default) {
    ev_async_init(&room_, on_room);
    ev_timer_init(&tick_, on_tick, tick_s, tick_s);
    room_.data = tick_.data = this;
    ev_async_start(loop_, &room_);
}

Audio::~Audio() {
    stop();
    ev_async_stop(loop_, &room_);
}

void Audio::start() {
    if (running()) {
        return;
    }
    engine_.emplace(echo_);
    queue_.clear();
    enabled_ = false;
    cancelling_ = false;
    volume_ = volume_default;
    ending_ = false;
    burst_.end();
    microphone_->start();
    loudspeaker_->start();
    ev_timer_again(loop_, &tick_);
    // Signals are the loop thread's.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    thread_ = std::thread([this] { make_turns(); });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void Audio::stop() {
    if (!running()) {
        return;
    }
    ending_ = true;
    thread_.join();
    ev_timer_stop(loop_, &tick_);
    microphone_->stop();
    loudspeaker_->stop();
    channel_.release(Cause::source);
    for (Play &play : std::exchange(waiting_, {})) {
        play.answer(-ENODEV);
    }
}

void Audio::play(std::vector<int16_t> samples, PlayAnswer answer) {
    if (!running() || waiting_.size() >= plays_waiting_max) {
        answer(running() ? -EBUSY : -ENODEV);
        return;
    }
    waiting_.push_back({std::move(samples), std::move(answer)});
    feed_queue();
}

void Audio::on_room(struct ev_loop * /*loop*/, ev_async *watcher, int /*events*/) {
    static_cast<Audio *>(watcher->data)->feed_queue();
}

void Audio::feed_queue() {
    while (!waiting_.empty() && queue_.push(waiting_.front().samples)) {
        const Play play = std::move(waiting_.front());
        waiting_.pop_front();
        play.answer(0);
    }
}

int32_t Audio::set_speaker(bool on) {
    enabled_ = on && running();
    return running() ? 0 : -ENODEV;
}

int32_t Audio::set_canceller(bool on) {
    cancelling_ = on && running();
    return running() ? 0 : -ENODEV;
}

int32_t Audio::set_volume(int32_t volume) {
    if (volume < 0 || volume > volume_max) {
        return -EINVAL;
    }
    if (!running()) {
        return -ENODEV;
    }
    volume_ = volume;
    return 0;
}

int32_t Audio::burst(const BurstRecord &record) {
    if (!running()) {
        return -ENODEV;
    }
    burst_.begin(record.level_db, record.duration_ms);
    return 0;
}

SpeakerState Audio::speaker() const {
    return {enabled_, cancelling_, volume_, played_, heard_};
}

void Audio::on_tick(struct ev_loop * /*loop*/, ev_timer *watcher, int /*events*/) {
    static_cast<Audio *>(watcher->data)->watch_microphone();
}

/* A microphone that brings nothing is as good as a failed one; the daemon is told so. */
void Audio::watch_microphone() {
    const std::string error = microphone_->error();
    const bool was_dead = channel_.held(Cause::source).has_value();
    if (!error.empty() && !was_dead) {
        log_line("microphone \"%s\" is reported as broken: %s", microphone_->name().c_str(), error.c_str());
        channel_.hold(Cause::source, {false, -1, 0});
    } else if (error.empty() && was_dead) {
        log_line("microphone \"%s\" brings sound again", microphone_->name().c_str());
        channel_.release(Cause::source);
    }
    channel_.repeat_answers();
}

/* ---- the audio thread ---- */

void Audio::make_turns() {
    pthread_setname_np(pthread_self(), "audio");
    uint64_t time_us = monotonic_us(); // when the turn begins that is to be made
    MicBlock block;
    size_t turns = 0;
    uint64_t block_us = time_us;
    while (!ending_) {
        sleep_until(time_us + turn_us); // what a microphone has heard, it has heard at the end of it
        const uint64_t now_us = monotonic_us();
        if (now_us > time_us + late_max_us) {
            time_us = now_us - turn_us;
            turns = 0;
        }
        block_us = turns == 0 ? time_us : block_us;
        block[turns] = turn();
        listener_(block[turns++]);
        time_us += turn_us;
        if (turns == block.size()) {
            channel_.take(block, block_us);
            turns = 0;
        }
    }
}

Turn Audio::turn() {
    Turn said;
    microphone_->read(said);
    burst_.add(said);
    const Turn played = next_played();
    engine_->set_canceller(cancelling_);
    return engine_->step(said, played);
}

Turn Audio::next_played() {
    Turn samples;
    const size_t count = queue_.pop(samples);
    const bool sounding = count > 0 && enabled_;
    if (count > 0) {
        played_ += count;
        ev_async_send(loop_, &room_);
    }
    if (sounding) {
        heard_ += count;
        amplify(samples, volume_);
    } else {
        samples.fill(0);
    }
    loudspeaker_->play(samples, sounding);
    return samples;
}

} // namespace board
