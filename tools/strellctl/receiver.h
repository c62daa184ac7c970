/*
 * A receiver of one video stream, on the blocking interface of libshbf_receiver.h.
 *
 *     Interrupt interrupt;
 *     Receiver video(stream_named("main"));
 *     while (video.wait(deadline_us, interrupt) == Receiver::Outcome::frame) {
 *         video.frame().payload ...                  // valid until the next wait
 *     }
 *
 * Frames are given back by themselves at the next wait. Threads: one.
 */
#ifndef STRELLCTL_RECEIVER_H
#define STRELLCTL_RECEIVER_H

#include "strellctl/channel.h"
#include "strellctl/frame.h"
#include "strellctl/interrupt.h"
#include "strellctl/stream.h"

#include <cstdint>

namespace ctl {

class Receiver {
  public:
    using Outcome = Channel::Outcome;

    /* Attaches. Throws Failure with what to do when nobody serves the stream. */
    explicit Receiver(const Stream &stream);

    /*
     * Waits for the next frame until `deadline_us` (CLOCK_MONOTONIC). `gone`: the daemon has ended or dropped
     * this receiver; nothing comes any more. Throws Failure when what comes is no video.
     */
    Outcome wait(uint64_t deadline_us, const Interrupt &interrupt);

    /* The frame of the last wait that said so. */
    const FrameView &frame() const { return view_; }

    /* When it came (CLOCK_MONOTONIC), and what this receiver has missed since it attached. */
    uint64_t received_us() const { return received_us_; }
    uint32_t skipped() const { return channel_.frame().skipped; }

    /* Asks the daemon for a key frame. False when the daemon is gone or does not listen. */
    bool request_key_frame();

  private:
    Channel channel_;
    FrameView view_{};
    uint64_t received_us_ = 0;
};

/* Why attaching failed, and what to do about it. `error` is a positive errno value. */
std::string attach_failure(const Stream &stream, int error);

} // namespace ctl

#endif
