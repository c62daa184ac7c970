/*
 * The sound of the board without clocks, threads and devices: what somebody says and what the speaker plays
 * goes in, what the microphone delivers comes out. Speaker, room, microphone and canceller move on by the
 * same sample, which no pair of real devices would do, and which makes every measurement repeatable.
 *
 *     said ------------------------(+)---> canceller or not ---> captured
 *     played --+--> room (echo) ----'          ^
 *              '-------------------------------' reference
 *
 * One thread at a time.
 */
#ifndef PLATFORM_BOARD_BOARDD_AUDIO_ENGINE_H
#define PLATFORM_BOARD_BOARDD_AUDIO_ENGINE_H

#include "board/boardd/audio/canceller.h"
#include "board/boardd/audio/echo_path.h"

namespace board {

class AudioEngine {
  public:
    explicit AudioEngine(const EchoSettings &room) : room_(room), canceller_(room) {}

    /* Whether the canceller is in use; off at first. */
    void set_canceller(bool on) { cancelling_ = on; }

    /* One turn: what is said at the microphone, what leaves the speaker, and what is captured. */
    Turn step(const Turn &said, const Turn &played);

  private:
    EchoPath room_;
    Canceller canceller_;
    bool cancelling_ = false;
};

} // namespace board

#endif
