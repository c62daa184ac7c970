/*
 * The daemon's playback channel: what strellctl sends there, and how fast. The sound is 16-bit little-endian
 * PCM, 16 kHz, mono (libboardav.h). Any thread.
 */
#ifndef STRELLCTL_SPEAKER_H
#define STRELLCTL_SPEAKER_H

#include "strellctl/clock.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace ctl {

inline constexpr char speaker_path[] = "/run/audio_play";
inline constexpr char speaker_name[] = "the playback channel";

constexpr size_t sound_bytes_per_s = 32000;
constexpr size_t sound_message_bytes = 1280; // 40 ms, what the microphone's blocks have too

constexpr uint64_t sound_us(size_t bytes) {
    return static_cast<uint64_t>(bytes) * us_per_s / sound_bytes_per_s;
}

/*
 * When to send the next piece: in real time, but a little ahead, so that a delay on the way is not heard. The
 * daemon throws away all that waits when 400 messages do; so much is never ahead.
 */
class PlayClock {
  public:
    static constexpr uint64_t ahead_us = 10 * sound_us(sound_message_bytes);

    /* From when on the next piece may be sent; 0 at first. */
    uint64_t send_us() const { return end_us_ < ahead_us ? 0 : end_us_ - ahead_us; }

    /* When all that was sent will have been played. */
    uint64_t end_us() const { return end_us_; }

    /* A piece was sent now. After a pause (the source had nothing) the clock begins anew. */
    void sent(size_t bytes, uint64_t now_us) { end_us_ = std::max(end_us_, now_us) + sound_us(bytes); }

  private:
    uint64_t end_us_ = 0;
};

} // namespace ctl

#endif
