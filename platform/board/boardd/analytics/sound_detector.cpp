#include "board/boardd/analytics/sound_detector.h"

#include <cstdio>

namespace board {

namespace {

constexpr uint32_t piece_ms = 100;
constexpr uint32_t piece_samples = piece_ms * samples_per_ms;
constexpr double full_scale = 32768;
constexpr double level_of_full_scale = 100;

// How the background follows: slowly up, so that a shout is over it, and fast down, so that the next one is,
// too. Shares of the difference, at each piece: within 3 s, within 0.5 s.
constexpr double rise_share = piece_ms / 3000.0;
constexpr double fall_share = piece_ms / 500.0;

double level_of(double mean_square) {
    const double relative = mean_square / (full_scale * full_scale);
    return relative > 0 ? std::clamp(level_of_full_scale + 10 * std::log10(relative), 0.0, 100.0) : 0;
}

} // namespace

std::optional<std::string> SoundDetector::hear(std::span<const int16_t> samples) {
    for (const int16_t sample : samples) {
        power_ += static_cast<double>(sample) * sample;
    }
    count_ += static_cast<uint32_t>(samples.size());
    if (count_ < piece_samples) {
        return std::nullopt;
    }
    level_ = level_of(power_ / count_);
    power_ = 0;
    count_ = 0;
    return judge();
}

/* The piece that has just been heard. */
std::optional<std::string> SoundDetector::judge() {
    if (!began_) {
        background_ = level_; // a hum that was there from the start is no event
        began_ = true;
    }
    const double over_db = level_ - background_;
    background_ += over_db * (over_db > 0 ? rise_share : fall_share);
    silent_ms_ -= std::min(silent_ms_, piece_ms);
    if (threshold_ <= 0 || level_ < threshold_ || over_db < sound_over_background_db || silent_ms_ > 0) {
        return std::nullopt;
    }
    silent_ms_ = sound_again_ms;
    char text[64];
    std::snprintf(text, sizeof text, "AbnormalSound level=%ld threshold=%ld", std::lround(level_),
                  static_cast<long>(threshold_));
    return text;
}

} // namespace board
