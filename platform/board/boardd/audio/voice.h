/*
 * A voice that nobody has: what the microphone hears when no sound card and no file is given.
 *
 * Syllables of 200 ms. Each is drawn from a hash of its number: one of five vowels that glides into another
 * one (three formants), a pitch that falls or rises, sometimes a hiss at its start (a consonant), sometimes a
 * pause in place of it. A phrase of nine syllables ends with three that are silent. So it has what matters to
 * echo cancellers, codecs and level meters: harmonics, changing spectrum, onsets, pauses. The loudest samples
 * reach about a third of full scale, the level of somebody who speaks at arm's length.
 *
 * Every sample is a function of its index and the speaker's number alone: two runs, or two ways to cut a
 * run into pieces, bring the same samples. Threads: one object, one thread at a time.
 */
#ifndef PLATFORM_BOARD_BOARDD_AUDIO_VOICE_H
#define PLATFORM_BOARD_BOARDD_AUDIO_VOICE_H

#include "board/boardd/audio/pcm.h"

#include <span>

namespace board {

class Voice {
  public:
    /* `speaker` tells one voice from another: other words, and another pitch. */
    explicit Voice(uint32_t speaker = 0) : speaker_(speaker) {}

    /* Samples `index` and following, as many as `out` has room for. */
    void speak(uint64_t index, std::span<int16_t> out) const;

  private:
    uint32_t speaker_;
};

} // namespace board

#endif
