#include "measure.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace bench {

uint64_t now_ns() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000 + static_cast<uint64_t>(now.tv_nsec);
}

void wait_until_ns(uint64_t time_ns) {
    const timespec until = {static_cast<time_t>(time_ns / 1000000000),
                            static_cast<long>(time_ns % 1000000000)};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
}

void fail(const std::string &what) {
    std::perror(what.c_str());
    std::exit(1);
}

int scaled(int full, int least) {
    const char *text = std::getenv("BENCH_SCALE");
    const double scale = text == nullptr ? 1.0 : std::clamp(std::atof(text), 0.0, 1.0);
    return std::max(static_cast<int>(full * scale), std::min(least, full));
}

void Samples::add(const Samples &other) {
    ns_.insert(ns_.end(), other.ns_.begin(), other.ns_.end());
}

double Samples::us(double share) const {
    std::vector<uint64_t> sorted = ns_;
    const auto index = static_cast<ptrdiff_t>(share * static_cast<double>(sorted.size() - 1));
    std::nth_element(sorted.begin(), sorted.begin() + index, sorted.end());
    return static_cast<double>(sorted[static_cast<size_t>(index)]) / 1000.0;
}

} // namespace bench
