/*
 * Sound that is louder than it should be: the level of the microphone, in pieces of 100 ms, over the
 * threshold, and clearly over what has been heard before. docs/formats/events.md has the text.
 *
 * A level is that of the mean power, in decibels relative to a full-scale square wave, plus 100: 0 to 100; a
 * full-scale sine has 97. Silence is 0, and so is everything softer than 100 dB below full scale.
 *
 * Pure: time is counted in samples. One thread for each object.
 */
#ifndef PLATFORM_BOARD_BOARDD_ANALYTICS_SOUND_DETECTOR_H
#define PLATFORM_BOARD_BOARDD_ANALYTICS_SOUND_DETECTOR_H

#include "board/boardd/audio/pcm.h"

#include <optional>
#include <span>
#include <string>

namespace board {

/* Unless it is set: a voice near the microphone has some 80, shouting there 90. Thresholds of 0 and less
 * switch the detector off, those over 100 cannot be reached. */
constexpr int32_t sound_threshold_default = 90;

/* How far a sound has to be over what was there before. */
constexpr double sound_over_background_db = 10;

/* A sound that goes on is told once a second, until it is the background: after some seconds. */
constexpr uint32_t sound_again_ms = 1000;

class SoundDetector {
  public:
    /* The threshold is kept. */
    void forget() { *this = SoundDetector(threshold_); }

    SoundDetector() = default;
    void set_threshold(int32_t threshold) { threshold_ = threshold; }

    /* The next samples, at most a turn. What to tell, if anything. */
    std::optional<std::string> hear(std::span<const int16_t> samples);

    /* For people: of the last piece, and what it is compared with. */
    double level() const { return level_; }
    double background() const { return background_; }

  private:
    explicit SoundDetector(int32_t threshold) : threshold_(threshold) {}
    std::optional<std::string> judge();

    int32_t threshold_ = sound_threshold_default;
    double power_ = 0; /* sum of squares of the piece that is being heard */
    uint32_t count_ = 0;
    double level_ = 0;
    double background_ = 0;
    bool began_ = false;     /* a piece has been heard */
    uint32_t silent_ms_ = 0; /* for so long nothing more is told */
};

} // namespace board

#endif
