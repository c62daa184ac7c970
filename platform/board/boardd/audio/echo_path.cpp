#include "board/boardd/audio/echo_path.h"

namespace board {

namespace {

constexpr float decay_db = -60.0F;
constexpr float first_reflection_db = -5.0F; // against the direct sound
constexpr size_t first_gap = 29;             // samples between reflections: 1.8 ms, then denser
constexpr size_t last_gap = 11;

} // namespace

EchoPath::EchoPath(const EchoSettings &settings) {
    const size_t direct = static_cast<size_t>(settings.delay_ms) * samples_per_ms;
    const size_t tail = static_cast<size_t>(settings.reverb_ms) * samples_per_ms;
    const float level_db = -static_cast<float>(settings.attenuation_db);
    past_.resize(((direct + tail) / turn_samples + 2) * turn_samples);
    if (!settings.present) {
        return;
    }
    taps_.push_back({direct, gain_of_db(level_db)});
    size_t gap = first_gap;
    float sign = -1.0F;
    for (size_t after = gap; after < tail; after += gap) {
        const float decayed_db = decay_db * static_cast<float>(after) / static_cast<float>(tail);
        taps_.push_back({direct + after, sign * gain_of_db(level_db + first_reflection_db + decayed_db)});
        sign = taps_.size() % 3 == 0 ? sign : -sign; // no pattern that would ring at one frequency
        gap = gap > last_gap ? gap - 1 : first_gap;
    }
}

void EchoPath::pass(const Turn &played, std::span<float, turn_samples> heard) {
    std::copy(played.begin(), played.end(), past_.begin() + static_cast<std::ptrdiff_t>(at_));
    for (const Tap &tap : taps_) {
        size_t from = (at_ + past_.size() - tap.delay) % past_.size();
        for (float &value : heard) {
            value += tap.gain * static_cast<float>(past_[from]);
            from = from + 1 == past_.size() ? 0 : from + 1;
        }
    }
    at_ = (at_ + turn_samples) % past_.size();
}

} // namespace board
