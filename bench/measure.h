/*
 * What benchmarks measure with: the clock, samples and their percentiles, the scale of a run.
 *
 * Threads: any; a Samples belongs to one at a time.
 */
#ifndef BENCH_MEASURE_H
#define BENCH_MEASURE_H

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

/* CLOCK_MONOTONIC in nanoseconds: the same in all processes. */
uint64_t now_ns();
void wait_until_ns(uint64_t time_ns);

/* Ends the process with status 1; errno's message stands behind `what`. */
[[noreturn]] void fail(const std::string &what);

/*
 * How often something is done in this run: `full` times, or less when BENCH_SCALE (a number from 0 to 1,
 * which ./dev bench --scale sets) says so, but no less than `least` times.
 */
int scaled(int full, int least);

/* Durations. */
class Samples {
  public:
    void add_ns(uint64_t duration_ns) { ns_.push_back(duration_ns); }
    void add(const Samples &other);
    size_t count() const { return ns_.size(); }
    /* The one that a share of all (0 to 1; 1 is the longest) is not above. At least one has to be there. */
    double us(double share) const;
    double ms(double share) const { return us(share) / 1000.0; }

  private:
    std::vector<uint64_t> ns_;
};

} // namespace bench

#endif
