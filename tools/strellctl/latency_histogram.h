/*
 * Percentiles of any number of durations in a fixed amount of memory.
 *
 * Durations are sorted into steps of a tenth of a millisecond, up to two seconds; what is longer is known by
 * the longest. Threads: one at a time.
 */
#ifndef STRELLCTL_LATENCY_HISTOGRAM_H
#define STRELLCTL_LATENCY_HISTOGRAM_H

#include <cstdint>
#include <vector>

namespace ctl {

class LatencyHistogram {
  public:
    static constexpr uint64_t step_us = 100;

    LatencyHistogram();

    void add(uint64_t duration_us);

    uint64_t count() const { return count_; }
    uint64_t most_us() const { return most_us_; }

    /* A duration that `percent` (1 to 100) of all do not exceed, rounded up to a step and never more than
     * most_us(); 0 when there are none. */
    uint64_t percentile_us(uint32_t percent) const;

  private:
    std::vector<uint32_t> steps_;
    uint64_t count_ = 0;
    uint64_t most_us_ = 0;
};

} // namespace ctl

#endif
