/*
 * The acoustic echo canceller: takes out of what the microphone hears what the speaker has just played.
 *
 * SpeexDSP's adaptive filter, and behind it its suppressor for the echo that is left over. Chosen by
 * measurement in the default room (bench/echo has today's figures) against WebRTC's canceller of the same
 * distribution: that one removes more echo from the first second on, but of somebody who speaks softly
 * against a loud speaker it leaves less (correlation 0.76, 6 dB quieter) than this one (0.98, 0.3 dB). A
 * camera is talked to from both sides at once.
 *
 * What is known of the device goes in: the reference is delayed by the way from speaker to microphone, so
 * that the filter spends its taps on the room alone and finds it within a second.
 *
 * What comes out is one turn (20 ms) late. What the filter has learnt stays while the canceller is out of
 * use. One thread at a time.
 */
#ifndef PLATFORM_BOARD_BOARDD_AUDIO_CANCELLER_H
#define PLATFORM_BOARD_BOARDD_AUDIO_CANCELLER_H

#include "board/boardd/audio/echo_path.h"
#include "board/boardd/audio/pcm.h"

#include <memory>
#include <vector>

struct SpeexEchoState_;
struct SpeexPreprocessState_;

namespace board {

class Canceller {
  public:
    /* Throws std::bad_alloc. */
    explicit Canceller(const EchoSettings &room);
    ~Canceller();
    Canceller(const Canceller &) = delete;
    Canceller &operator=(const Canceller &) = delete;

    /* `heard` is what the microphone took while the speaker played `played`. */
    Turn cancel(const Turn &heard, const Turn &played);

  private:
    struct Destroy {
        void operator()(SpeexEchoState_ *state) const;
        void operator()(SpeexPreprocessState_ *state) const;
    };

    std::vector<int16_t>
        reference_; /* what was played and is not due yet, oldest first, and room for a turn */
    std::unique_ptr<SpeexEchoState_, Destroy> filter_;
    std::unique_ptr<SpeexPreprocessState_, Destroy> suppressor_;
};

} // namespace board

#endif
