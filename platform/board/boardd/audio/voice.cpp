#include "board/boardd/audio/voice.h"

#include <numbers>

namespace board {

namespace {

constexpr uint64_t syllable_samples = 200 * samples_per_ms;
constexpr uint64_t phrase_syllables = 9;
constexpr uint64_t spoken_syllables = 6;             // of a phrase; the rest is its pause
constexpr size_t piece_samples = 5 * samples_per_ms; // the spectrum is drawn anew at each
constexpr size_t harmonics_max = 40;
constexpr float highest_hz = 4500.0F;
constexpr float full_level = 5000.0F;
constexpr float hiss_level = 1000.0F;
constexpr uint64_t hiss_samples = 45 * samples_per_ms;

struct Vowel {
    float formants_hz[3];
};

constexpr Vowel vowels[] = {
    {{730, 1090, 2440}}, {{530, 1840, 2480}}, {{270, 2290, 3010}}, {{570, 840, 2410}}, {{300, 870, 2240}}};
constexpr float widths_hz[3] = {90, 110, 170};
constexpr float weights[3] = {1.0F, 0.6F, 0.3F};

uint32_t hash(uint64_t number, uint32_t salt) {
    uint64_t x = number * 0x9E3779B97F4A7C15U + salt * 0xD1B54A32D192ED03U;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9U;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBU;
    return static_cast<uint32_t>(x >> 32);
}

/* From 0 to 1. */
float chance(uint64_t number, uint32_t salt) {
    return static_cast<float>(hash(number, salt) >> 8) / 16777216.0F;
}

/* One syllable as it is drawn; times in it run from 0 to 1. */
struct Syllable {
    bool silent;
    bool hisses;
    float loudness;
    float start_hz; // pitch
    float end_hz;
    const Vowel *from;
    const Vowel *to;
};

Syllable syllable_of(uint64_t number, uint32_t speaker) {
    const uint32_t salt = speaker * 16;
    const float base_hz = 105.0F + 85.0F * chance(speaker, 1);
    const bool paused = number % phrase_syllables >= spoken_syllables || chance(number, salt + 2) < 0.1F;
    const float start_hz = base_hz * (0.9F + 0.35F * chance(number, salt + 3));
    return {paused,
            chance(number, salt + 4) < 0.5F,
            0.6F + 0.4F * chance(number, salt + 5),
            start_hz,
            start_hz * (0.85F + 0.3F * chance(number, salt + 6)),
            &vowels[hash(number, salt + 7) % std::size(vowels)],
            &vowels[hash(number, salt + 8) % std::size(vowels)]};
}

/* Rises within a fifth of the syllable, falls in its last two fifths. */
float envelope(float time) {
    const float rise = std::min(time / 0.2F, 1.0F);
    const float fall = std::min((1.0F - time) / 0.4F, 1.0F);
    const float level = std::min(rise, fall);
    return 0.5F - 0.5F * std::cos(level * std::numbers::pi_v<float>);
}

using Spectrum = std::array<float, harmonics_max + 1>;

/* How strong each harmonic is at a time of the syllable. */
Spectrum spectrum_at(const Syllable &syllable, float time) {
    const float pitch_hz = syllable.start_hz + (syllable.end_hz - syllable.start_hz) * time;
    Spectrum strength{};
    float power = 0;
    for (size_t k = 1; k <= harmonics_max && static_cast<float>(k) * pitch_hz < highest_hz; ++k) {
        const float hz = static_cast<float>(k) * pitch_hz;
        for (size_t f = 0; f < std::size(weights); ++f) {
            const float from_hz = syllable.from->formants_hz[f];
            const float centre_hz = from_hz + (syllable.to->formants_hz[f] - from_hz) * time;
            const float distance = (hz - centre_hz) / widths_hz[f];
            strength[k] += weights[f] / (1.0F + distance * distance);
        }
        power += strength[k] * strength[k];
    }
    for (float &value : strength) {
        value /= std::sqrt(power);
    }
    return strength;
}

/* The sum of strength[k] * sin(k * phase), by Clenshaw's recurrence: one sine and one cosine for all. */
float harmonics(const Spectrum &strength, float phase) {
    const float twice_cosine = 2.0F * std::cos(phase);
    float next = 0;
    float after = 0;
    for (size_t k = harmonics_max; k > 0; --k) {
        const float now = strength[k] + twice_cosine * next - after;
        after = next;
        next = now;
    }
    return next * std::sin(phase);
}

/* White noise less its low part. */
float hiss(uint64_t index, uint32_t speaker) {
    return chance(index + 1, speaker + 11) - chance(index, speaker + 11);
}

/* The part of one syllable between two redraws of the spectrum; `offset` is counted from its start. */
void speak_piece(const Syllable &syllable, uint64_t offset, uint64_t index, uint32_t speaker,
                 std::span<int16_t> out) {
    constexpr auto length = static_cast<float>(syllable_samples);
    const uint64_t start = offset - offset % piece_samples;
    const Spectrum before = spectrum_at(syllable, static_cast<float>(start) / length);
    const Spectrum behind = spectrum_at(syllable, static_cast<float>(start + piece_samples) / length);
    for (size_t i = 0; i < out.size(); ++i) {
        const uint64_t here = offset + i;
        const float time = static_cast<float>(here) / length;
        const double turns = static_cast<double>(here) / sample_rate_hz *
                             (syllable.start_hz + (syllable.end_hz - syllable.start_hz) * time / 2.0F);
        const auto phase = static_cast<float>((turns - std::floor(turns)) * 2.0 * std::numbers::pi);
        const float share = static_cast<float>(here - start) / static_cast<float>(piece_samples);
        const float voiced = harmonics(before, phase) * (1.0F - share) + harmonics(behind, phase) * share;
        float value = voiced * full_level * syllable.loudness * envelope(time);
        if (syllable.hisses && here < hiss_samples) {
            value += hiss(index + i, speaker) * hiss_level * syllable.loudness;
        }
        out[i] = to_sample(value);
    }
}

} // namespace

void Voice::speak(uint64_t index, std::span<int16_t> out) const {
    while (!out.empty()) {
        const uint64_t offset = index % syllable_samples;
        const size_t length = std::min<size_t>(piece_samples - offset % piece_samples, out.size());
        const Syllable syllable = syllable_of(index / syllable_samples, speaker_);
        if (syllable.silent) {
            std::fill_n(out.begin(), length, int16_t{0});
        } else {
            speak_piece(syllable, offset, index, speaker_, out.first(length));
        }
        out = out.subspan(length);
        index += length;
    }
}

} // namespace board
