/*
 * What the microphone hears of its surroundings, before the echo of the speaker comes in (engine.h).
 *
 * Threads: read on the audio thread; everything else on the loop thread.
 */
#ifndef PLATFORM_BOARD_BOARDD_AUDIO_MICROPHONE_H
#define PLATFORM_BOARD_BOARDD_AUDIO_MICROPHONE_H

#include "board/boardd/audio/pcm.h"

#include <ev.h>
#include <memory>
#include <string>

namespace board {

class Microphone {
  public:
    virtual ~Microphone() = default;

    virtual std::string name() const = 0;

    /* Between start and stop, read is called once for each turn. */
    virtual void start() = 0;
    virtual void stop() = 0;

    /* The next turn; silence where a source has brought too little. */
    virtual void read(Turn &samples) = 0;

    /* Why it has brought nothing for a while; empty while it is well. */
    virtual std::string error() const = 0;
};

/*
 * The microphone that an option says:
 *
 *     (nothing)             the synthetic voice (voice.h), from its beginning at each start
 *     speech.wav            a sound file, in a loop
 *     autoaudiosrc          any source as gst-launch-1.0 takes it, or a URI, as --source takes them
 * (source.h)
 *
 * A source that fails is tried again every second. It is reported when it has brought nothing for 3 s.
 */
std::unique_ptr<Microphone> make_microphone(struct ev_loop *loop, const std::string &option);

} // namespace board

#endif
