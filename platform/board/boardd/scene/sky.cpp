#include "board/boardd/scene/sky.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace board {

namespace {

constexpr double dark_lux = 0.001; /* nothing, to a logarithm */
constexpr uint64_t flicker_us = 40'000;

double lux_of(uint32_t mlux) {
    return static_cast<double>(mlux) / 1000;
}

/* From `one` (part 0) to `other` (part 1), even in logarithms. */
double between(double one, double other, double part) {
    const double from = std::log(std::max(one, dark_lux));
    const double to = std::log(std::max(other, dark_lux));
    return std::exp(from + (to - from) * part);
}

/* A number from -1 to 1 that has nothing to do with the next one's. */
double scattered(uint64_t number) {
    number = (number ^ number >> 30U) * 0xbf58476d1ce4e5b9U;
    number = (number ^ number >> 27U) * 0x94d049bb133111ebU;
    number ^= number >> 31U;
    return static_cast<double>(number >> 11U) / static_cast<double>(1ULL << 52U) - 1;
}

} // namespace

bool Sky::is_sound(const SceneLightRecord &record) {
    const bool period = record.period_ms >= scene_period_min_ms && record.period_ms <= scene_period_max_ms;
    const bool high = record.high_mlux <= scene_mlux_max;
    switch (record.mode) {
    case scene_constant:
        return high && record.low_mlux == 0 && record.period_ms == 0;
    case scene_ramp:
        return high && record.low_mlux == 0 && period;
    case scene_cycle:
        return high && record.low_mlux <= record.high_mlux && period;
    default:
        return false;
    }
}

void Sky::set(const SceneLightRecord &record, uint64_t now_us) {
    from_lux_ = lux(now_us);
    setting_ = record;
    since_us_ = now_us;
}

double Sky::lux(uint64_t now_us) const {
    const double high = lux_of(setting_.high_mlux);
    if (setting_.mode == scene_constant) {
        return high;
    }
    const double elapsed_ms = static_cast<double>(now_us - since_us_) / 1000;
    const double periods = elapsed_ms / setting_.period_ms;
    if (setting_.mode == scene_ramp) {
        return periods < 1 ? between(from_lux_, high, periods) : high;
    }
    return between(high, lux_of(setting_.low_mlux), (1 - std::cos(2 * std::numbers::pi * periods)) / 2);
}

double Sky::flickering_lux(uint64_t now_us) const {
    return lux(now_us) * (1 + scattered(now_us / flicker_us) * noise_percent_ / 100);
}

} // namespace board
