/*
 * Sound as the whole of boardd has it: 16-bit linear PCM, 16 kHz, mono, worked on in turns of 20 ms.
 */
#ifndef PLATFORM_BOARD_BOARDD_AUDIO_PCM_H
#define PLATFORM_BOARD_BOARDD_AUDIO_PCM_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace board {

constexpr uint32_t sample_rate_hz = 16000;
constexpr size_t samples_per_ms = sample_rate_hz / 1000;
constexpr size_t turn_samples = 20 * samples_per_ms;
constexpr uint64_t turn_us = 20'000;

/* What passes between microphone, speaker and canceller at one turn. */
using Turn = std::array<int16_t, turn_samples>;

/* The nearest sample; what is too loud is clipped, as a converter does. */
inline int16_t to_sample(float value) {
    return static_cast<int16_t>(std::lrint(std::clamp(value, -32768.0F, 32767.0F)));
}

/* The factor that stands for a level in decibels: 0 dB is 1. */
inline float gain_of_db(float level_db) {
    return std::pow(10.0F, level_db / 20.0F);
}

} // namespace board

#endif
