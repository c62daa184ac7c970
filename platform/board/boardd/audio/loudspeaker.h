/*
 * Where what the speaker plays is heard: a sound card, a file, any GStreamer sink.
 *
 * Threads: play on the audio thread; everything else on the loop thread.
 */
#ifndef PLATFORM_BOARD_BOARDD_AUDIO_LOUDSPEAKER_H
#define PLATFORM_BOARD_BOARDD_AUDIO_LOUDSPEAKER_H

#include "board/boardd/audio/pcm.h"

#include <ev.h>
#include <memory>
#include <string>

namespace board {

constexpr char speaker_wav_path[] = "/run/boardd_speaker.wav";
constexpr char speaker_old_wav_path[] = "/run/boardd_speaker.1.wav";

/* A file holds at most five minutes; then it becomes the old one, and a new one begins. */
constexpr uint32_t speaker_wav_max_bytes = 300 * sample_rate_hz * uint32_t{sizeof(int16_t)};

/* Silence behind a sound that is still written, so that pauses are heard as such; more is left out. */
constexpr uint32_t speaker_wav_silent_turns = 25;

class Loudspeaker {
  public:
    virtual ~Loudspeaker() = default;

    virtual std::string name() const = 0;

    /* Between start and stop, play is called once for each turn. */
    virtual void start() = 0;
    virtual void stop() = 0;

    /* The next turn. `sounding` is false when nothing is being played: the samples are silent then. */
    virtual void play(const Turn &samples, bool sounding) = 0;

    /* Why it does not sound; empty while it is well. */
    virtual std::string error() const = 0;
};

/*
 * The loudspeaker that an option says:
 *
 *     (nothing)       the sound card when this machine has one that can be used, else "wav"
 *     wav             the file speaker_wav_path; what an earlier boardd left there goes, and the first sound
 * makes it none            nothing pulsesink       any sink as gst-launch-1.0 takes it, one element or a
 * chain of them
 *
 * Throws std::runtime_error when the run directory's path is too long. A sink that fails is tried again every
 * second.
 */
std::unique_ptr<Loudspeaker> make_loudspeaker(struct ev_loop *loop, const std::string &option);

} // namespace board

#endif
