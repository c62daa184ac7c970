/*
 * Which frames belong to a recording: from the first key frame on, for so many seconds by their capture
 * times, as long as codec and size stay the same.
 *
 * Threads: one at a time.
 */
#ifndef STRELLCTL_RECORDER_H
#define STRELLCTL_RECORDER_H

#include "strellctl/recording.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace ctl {

class Recorder {
  public:
    /* How it gets at the two things that need the outside world. */
    struct Outside {
        /* Codec and size of a key frame's payload; nothing when it is no video. */
        std::function<std::optional<StreamFormat>(std::string_view)> read_format;
        /* The file, once it is clear what comes. */
        std::function<std::unique_ptr<Recording>(const StreamFormat &)> open;
    };

    /* Ends by itself after `seconds` of capture time. */
    Recorder(double seconds, Outside outside);

    /*
     * Takes the next frame. False when the recording is complete; the frame is then not part of it. Throws
     * Failure when codec or size have changed, when capture times stand still, or when the file cannot be
     * written; what was recorded before stays good to be finished.
     */
    bool add(const FrameView &frame);

    /* Completes the file, if there is one. Throws Failure when that cannot be done. */
    void finish();

    uint64_t frames() const { return frames_; }
    uint64_t bytes() const { return bytes_; }

    /* How many are missing: lost on the way, by the gaps in the encoder's count, or left out after those. */
    uint64_t missing() const { return missing_; }

    /* Nothing is recorded before the next key frame: worth asking for one. */
    bool waits_for_key_frame() const { return waits_for_key_frame_; }

    /* From the first frame to the end of the last one. */
    double seconds() const;

    /* "150 frames, 10.0 s, H.265 640x360, 77.1 KB". */
    std::string text() const;

  private:
    void begin(const FrameView &frame);
    void count_losses(const FrameView &frame);
    void check(const FrameView &frame);
    void write(const FrameView &frame, uint64_t time_us);

    const uint64_t length_us_;
    Outside outside_;
    std::unique_ptr<Recording> recording_;
    StreamFormat format_{};
    VideoFrameInfo first_{};
    VideoFrameInfo last_{}; // that came
    uint64_t end_us_ = 0;   // of the last that was recorded
    bool waits_for_key_frame_ = true;
    uint64_t frames_ = 0;
    uint64_t bytes_ = 0;
    uint64_t missing_ = 0;
};

} // namespace ctl

#endif
