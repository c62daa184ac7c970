/*
 * A noise in the room, for those who listen for one: white, of a given power and length.
 *
 * Threads: begin on the loop thread, add on the audio thread.
 */
#ifndef PLATFORM_BOARD_BOARDD_AUDIO_NOISE_BURST_H
#define PLATFORM_BOARD_BOARDD_AUDIO_NOISE_BURST_H

#include "board/boardd/audio/pcm.h"

#include <mutex>

namespace board {

class NoiseBurst {
  public:
    /* From the next turn on, in place of one that sounds: mean power of `level_db` (0 is full scale; what is
     * louder than that for a moment is clipped), for so long, rounded up to turns. */
    void begin(int32_t level_db, uint32_t duration_ms);
    void end();

    /* Adds it, or nothing, to what the microphone hears. */
    void add(Turn &samples);

  private:
    std::mutex mutex_; /* guards both */
    float amplitude_ = 0;
    uint64_t turns_left_ = 0;
    uint32_t random_ = 1; /* the audio thread's */
};

} // namespace board

#endif
