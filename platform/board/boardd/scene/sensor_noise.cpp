#include "board/boardd/scene/sensor_noise.h"

#include "board/boardd/scene/eye.h"

#include <algorithm>

namespace board {

namespace {

/* Either way, in steps of luma, at the highest gain. */
constexpr double amplitude_max = 6;

constexpr size_t spare = 4096; /* so many ways to lay the pattern over a row */

uint32_t next(uint32_t &random) {
    random = random * 1664525U + 1013904223U;
    return random >> 8U;
}

} // namespace

void SensorNoise::prepare(int32_t width, int32_t amplitude) {
    if (width == width_ && amplitude == amplitude_) {
        return;
    }
    width_ = width;
    amplitude_ = amplitude;
    pattern_.resize(static_cast<size_t>(width) + spare);
    const auto values = static_cast<uint32_t>(2 * amplitude + 1);
    for (int8_t &step : pattern_) {
        step = static_cast<int8_t>(static_cast<int32_t>(next(random_) % values) - amplitude);
    }
}

void SensorNoise::add(const Plane &y, double gain) {
    const auto amplitude = static_cast<int32_t>(amplitude_max * gain * eye_dark_lux / eye_gain_free_lux);
    if (amplitude < 1) {
        return;
    }
    prepare(y.width, amplitude);
    for (int32_t i = 0; i < y.height; ++i) {
        const int8_t *noise = pattern_.data() + next(random_) % spare;
        uint8_t *row = y.row(i);
        for (int32_t x = 0; x < y.width; ++x) {
            const int32_t sum = row[x] + noise[x];
            row[x] = static_cast<uint8_t>(std::clamp(sum, 0, 255));
        }
    }
}

} // namespace board
