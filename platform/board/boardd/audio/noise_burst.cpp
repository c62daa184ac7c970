#include "board/boardd/audio/noise_burst.h"

namespace board {

namespace {

constexpr float full_scale = 32768;
constexpr uint32_t turn_ms = turn_us / 1000;

/* The next number, from -1 to 1, all equally likely. */
float next(uint32_t &random) {
    random = random * 1664525U + 1013904223U;
    return static_cast<float>(static_cast<int32_t>(random)) / 2147483648.0F;
}

} // namespace

void NoiseBurst::begin(int32_t level_db, uint32_t duration_ms) {
    const std::lock_guard<std::mutex> lock(mutex_);
    // Numbers that are all equally likely have a third of the power of their greatest.
    amplitude_ = full_scale * gain_of_db(static_cast<float>(level_db)) * std::sqrt(3.0F);
    turns_left_ = (duration_ms + turn_ms - 1) / turn_ms;
}

void NoiseBurst::end() {
    const std::lock_guard<std::mutex> lock(mutex_);
    turns_left_ = 0;
}

void NoiseBurst::add(Turn &samples) {
    float amplitude = 0;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (turns_left_ == 0) {
            return;
        }
        --turns_left_;
        amplitude = amplitude_;
    }
    for (int16_t &sample : samples) {
        sample = to_sample(static_cast<float>(sample) + amplitude * next(random_));
    }
}

} // namespace board
