#include "strellctl/latency_histogram.h"

#include <algorithm>

namespace ctl {

namespace {
constexpr size_t steps = 20000;
}

LatencyHistogram::LatencyHistogram() : steps_(steps) {}

void LatencyHistogram::add(uint64_t duration_us) {
    ++steps_[std::min<uint64_t>(duration_us / step_us, steps - 1)];
    ++count_;
    most_us_ = std::max(most_us_, duration_us);
}

uint64_t LatencyHistogram::percentile_us(uint32_t percent) const {
    const uint64_t wanted = (count_ * percent + 99) / 100;
    uint64_t seen = 0;
    for (size_t step = 0; step + 1 < steps; ++step) {
        seen += steps_[step];
        if (seen >= wanted) {
            return std::min((step + 1) * step_us, most_us_);
        }
    }
    return most_us_;
}

} // namespace ctl
