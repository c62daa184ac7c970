/*
 * Thins frames out to a frame rate: says of each frame, by its time, whether it is due. Frames that come at
 * the rate itself, or slower, are all due. One thread at a time.
 */
#ifndef PLATFORM_BOARD_BOARDD_PACE_H
#define PLATFORM_BOARD_BOARDD_PACE_H

#include <cstdint>

namespace board {

class Pace {
  public:
    explicit Pace(int32_t fps) : interval_us_(1'000'000U / static_cast<uint64_t>(fps)) {}

    /* `timestamp_us` grows from call to call. */
    bool due(uint64_t timestamp_us) {
        if (timestamp_us + jitter_us < next_us_) {
            return false;
        }
        next_us_ += interval_us_;
        if (next_us_ < timestamp_us) {
            next_us_ = timestamp_us + interval_us_; // the first frame, or one after a pause
        }
        return true;
    }

  private:
    static constexpr uint64_t jitter_us = 8000; /* a frame this much early is still the one that is due */

    uint64_t interval_us_;
    uint64_t next_us_ = 0;
};

} // namespace board

#endif
