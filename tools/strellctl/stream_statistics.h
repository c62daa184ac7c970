/*
 * What the frames of one stream add up to: rates, key frames, latency, losses.
 *
 * A pure calculation: times are given, nothing is asked from a clock, so that it can be tested with invented
 * ones. Memory is bounded however long a stream runs. Threads: one at a time.
 */
#ifndef STRELLCTL_STREAM_STATISTICS_H
#define STRELLCTL_STREAM_STATISTICS_H

#include "strellctl/latency_histogram.h"

#include <cstdint>
#include <deque>

namespace ctl {

/* One frame. Both times are microseconds of one monotonic clock. */
struct FrameSample {
    uint64_t capture_us;
    uint64_t received_us;
    uint32_t sequence; // the encoder's count, which begins at 0 when it restarts
    uint32_t bytes;    // of the payload
    bool key;
    uint32_t skipped; // what this receiver has missed since it attached
};

/* From key frame to key frame. */
struct KeyInterval {
    uint64_t count = 0; // of whole intervals
    uint64_t last_us = 0;
    uint64_t least_us = 0;
    uint64_t most_us = 0;
    uint64_t sum_us = 0;
};

struct Totals {
    uint64_t frames = 0;
    uint64_t bytes = 0;
    uint64_t key_frames = 0;
    /* Frames that the encoder counted and that did not come, wherever they got lost. */
    uint64_t lost = 0;
    /* Those of them that this receiver was too slow for. */
    uint32_t skipped = 0;
    uint64_t restarts = 0; // of the encoder
};

class StreamStatistics {
  public:
    /* How far back the live rates look: far enough for the bitrate to include a key frame or two. */
    static constexpr uint64_t fps_window_us = 2000000;
    static constexpr uint64_t bitrate_window_us = 4000000;

    /* In the order in which they came. */
    void add(const FrameSample &sample);

    /* Over the windows that end at `now_us`; 0 when no frame came in them. Measured between capture times, so
     * frames that were delivered late do not make it jump. */
    double fps(uint64_t now_us) const;
    double bits_per_s(uint64_t now_us) const;

    /* Over everything since the first frame. */
    double average_fps() const;
    double average_bits_per_s() const;

    const Totals &totals() const { return totals_; }
    const KeyInterval &key_interval() const { return key_interval_; }

    /* From capture to receipt. Frames whose capture time is of another clock are left out. */
    const LatencyHistogram &latency() const { return latency_; }
    /* That of the last frame; nothing to go by when latency().count() is 0. */
    uint64_t last_latency_us() const { return last_latency_us_; }

  private:
    struct Rate {
        uint64_t frames;
        uint64_t bytes;
        double seconds;
    };
    Rate rate(uint64_t window_us, uint64_t now_us) const;
    void count_losses(const FrameSample &sample);
    void count_key_frame(const FrameSample &sample);
    void count_latency(const FrameSample &sample);
    void forget_old();

    std::deque<FrameSample> recent_; // what the windows need, and one frame before them
    FrameSample first_{};
    FrameSample last_{};
    uint64_t last_key_us_ = 0;
    uint64_t last_latency_us_ = 0;
    Totals totals_;
    KeyInterval key_interval_;
    LatencyHistogram latency_;
};

} // namespace ctl

#endif
