/*
 * The clock of the frames' capture times. Any thread.
 */
#ifndef STRELLCTL_CLOCK_H
#define STRELLCTL_CLOCK_H

#include <cstdint>
#include <ctime>

namespace ctl {

constexpr uint64_t us_per_s = 1000000;

/* Microseconds of CLOCK_MONOTONIC. */
inline uint64_t monotonic_us() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * us_per_s + static_cast<uint64_t>(now.tv_nsec) / 1000;
}

inline double seconds_of(uint64_t us) {
    return static_cast<double>(us) / static_cast<double>(us_per_s);
}

} // namespace ctl

#endif
