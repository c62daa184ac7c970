/*
 * The volume of the speaker, 0 to 100, and what it does to samples: each step is 0.4 dB. 100 is 0 dB, where
 * samples stay as they are, bit for bit; 50 is -20 dB; 1 is -39.6 dB; 0 is silence.
 */
#ifndef PLATFORM_BOARD_BOARDD_AUDIO_VOLUME_H
#define PLATFORM_BOARD_BOARDD_AUDIO_VOLUME_H

#include "board/boardd/audio/pcm.h"

namespace board {

constexpr int32_t volume_max = 100;
constexpr float volume_step_db = 0.4F;
constexpr int32_t volume_default = 100; /* when the board starts, and by set_speaker_vol_default */
constexpr int32_t volume_talking = 90;  /* by set_speaker_talking_vol: a voice carries, and may howl */

inline float gain_of_volume(int32_t volume) {
    return volume == 0 ? 0.0F : gain_of_db(static_cast<float>(volume - volume_max) * volume_step_db);
}

inline void amplify(Turn &samples, int32_t volume) {
    const float gain = gain_of_volume(volume);
    for (int16_t &sample : samples) {
        sample = to_sample(static_cast<float>(sample) * gain);
    }
}

} // namespace board

#endif
