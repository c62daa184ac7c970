#include "strellctl/stream_statistics.h"

#include "strellctl/clock.h"

#include <algorithm>

namespace ctl {

namespace {

// Against a flood: more frames than these in a window are measured by the newest of them.
constexpr size_t most_recent = 4096;
// A capture time further off than this is of another clock.
constexpr uint64_t latency_max_us = 60 * us_per_s;
constexpr double bits_per_byte = 8;

/* Between two frames as their captures tell it, or their receipts when the captures make no sense. */
double seconds_between(const FrameSample &one, const FrameSample &other) {
    const uint64_t received = other.received_us - one.received_us;
    const bool sane =
        other.capture_us > one.capture_us && other.capture_us - one.capture_us < received + latency_max_us;
    return seconds_of(sane ? other.capture_us - one.capture_us : received);
}

double per_second(uint64_t count, double seconds) {
    return seconds > 0 ? static_cast<double>(count) / seconds : 0;
}

} // namespace

void StreamStatistics::add(const FrameSample &sample) {
    if (totals_.frames == 0) {
        first_ = sample;
    } else {
        count_losses(sample);
    }
    ++totals_.frames;
    totals_.bytes += sample.bytes;
    totals_.skipped = sample.skipped;
    if (sample.key) {
        count_key_frame(sample);
    }
    count_latency(sample);
    last_ = sample;
    recent_.push_back(sample);
    forget_old();
}

void StreamStatistics::count_losses(const FrameSample &sample) {
    if (sample.sequence > last_.sequence) {
        totals_.lost += sample.sequence - last_.sequence - 1;
        return;
    }
    ++totals_.restarts;
    totals_.lost += sample.sequence; // those before it since the restart
}

void StreamStatistics::count_key_frame(const FrameSample &sample) {
    if (totals_.key_frames > 0 && sample.capture_us > last_key_us_) {
        const uint64_t interval = sample.capture_us - last_key_us_;
        KeyInterval &keys = key_interval_;
        keys.least_us = keys.count == 0 ? interval : std::min(keys.least_us, interval);
        keys.most_us = std::max(keys.most_us, interval);
        keys.last_us = interval;
        keys.sum_us += interval;
        ++keys.count;
    }
    last_key_us_ = sample.capture_us;
    ++totals_.key_frames;
}

void StreamStatistics::count_latency(const FrameSample &sample) {
    if (sample.capture_us <= sample.received_us && sample.received_us - sample.capture_us < latency_max_us) {
        last_latency_us_ = sample.received_us - sample.capture_us;
        latency_.add(last_latency_us_);
    }
}

void StreamStatistics::forget_old() {
    const uint64_t newest = recent_.back().received_us;
    while (recent_.size() > most_recent ||
           (recent_.size() > 2 && recent_[1].received_us + bitrate_window_us < newest)) {
        recent_.pop_front();
    }
}

/*
 * The frames of the window take the time since the frame before it. At the beginning there is none, so the
 * first frame stands for it and is not counted.
 */
StreamStatistics::Rate StreamStatistics::rate(uint64_t window_us, uint64_t now_us) const {
    const auto inside = std::ranges::find_if(
        recent_, [&](const FrameSample &sample) { return sample.received_us + window_us > now_us; });
    if (inside == recent_.end()) {
        return {0, 0, 0};
    }
    const auto before = inside == recent_.begin() ? inside : inside - 1;
    uint64_t bytes = 0;
    for (auto sample = before + 1; sample != recent_.end(); ++sample) {
        bytes += sample->bytes;
    }
    return {static_cast<uint64_t>(recent_.end() - before - 1), bytes,
            seconds_between(*before, recent_.back())};
}

double StreamStatistics::fps(uint64_t now_us) const {
    const Rate measured = rate(fps_window_us, now_us);
    return per_second(measured.frames, measured.seconds);
}

double StreamStatistics::bits_per_s(uint64_t now_us) const {
    const Rate measured = rate(bitrate_window_us, now_us);
    return bits_per_byte * per_second(measured.bytes, measured.seconds);
}

double StreamStatistics::average_fps() const {
    return totals_.frames < 2 ? 0 : per_second(totals_.frames - 1, seconds_between(first_, last_));
}

double StreamStatistics::average_bits_per_s() const {
    return totals_.frames < 2
               ? 0
               : bits_per_byte * per_second(totals_.bytes - first_.bytes, seconds_between(first_, last_));
}

} // namespace ctl
