/*
 * The way from the speaker through the room back into the microphone: what is played comes back later and
 * weaker, and rings for a moment. An impulse response of a direct sound and a decaying row of reflections,
 * the same at every start, so that a measurement can be repeated.
 */
#ifndef PLATFORM_BOARD_BOARDD_AUDIO_ECHO_PATH_H
#define PLATFORM_BOARD_BOARDD_AUDIO_ECHO_PATH_H

#include "board/boardd/audio/pcm.h"

#include <span>
#include <vector>

namespace board {

/* How the room is. */
struct EchoSettings {
    bool present = true;         /* false: the speaker is not heard by the microphone at all */
    int32_t delay_ms = 40;       /* 0 to 100: until the direct sound */
    int32_t attenuation_db = 12; /* 0 to 60: of the direct sound */
    int32_t reverb_ms = 60;      /* 0 to 100: until the reflections are 60 dB down; 0: there are none */
};

constexpr int32_t echo_delay_max_ms = 100;
constexpr int32_t echo_attenuation_max_db = 60;
constexpr int32_t echo_reverb_max_ms = 100;

/* One thread at a time. */
class EchoPath {
  public:
    explicit EchoPath(const EchoSettings &settings);

    /* Plays one turn and adds to `heard` what comes back meanwhile; its values are not rounded. */
    void pass(const Turn &played, std::span<float, turn_samples> heard);

  private:
    struct Tap {
        size_t delay; /* in samples */
        float gain;
    };

    std::vector<Tap> taps_;
    std::vector<int16_t> past_; /* what was played, a ring; its size is a whole number of turns */
    size_t at_ = 0;             /* where the next turn goes */
};

} // namespace board

#endif
