/*
 * One channel of the daemon as a receiver sees it, on the blocking interface of libshbf_receiver.h: whatever
 * its frames are.
 *
 *     Interrupt interrupt;
 *     Channel channel("/run/audio_in", "the microphone");
 *     while (channel.wait(deadline_us, interrupt) == Channel::Outcome::frame) {
 *         channel.frame().data ...                    // valid until the next wait
 *     }
 *
 * Frames are given back by themselves at the next wait. Threads: one.
 */
#ifndef STRELLCTL_CHANNEL_H
#define STRELLCTL_CHANNEL_H

#include "libshbf_receiver.h"
#include "strellctl/interrupt.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace ctl {

class Channel {
  public:
    enum class Outcome { frame, time_is_up, interrupted, gone };

    /* Attaches; `what` is what people call the channel. Throws Failure with what to do when nobody serves it.
     */
    Channel(const char *path, const std::string &what);
    ~Channel();
    Channel(const Channel &) = delete;
    Channel &operator=(const Channel &) = delete;

    /*
     * Waits for the next frame until `deadline_us` (CLOCK_MONOTONIC). `gone`: the daemon has ended or dropped
     * this receiver; nothing comes any more. Throws Failure when what comes is not to be trusted.
     */
    Outcome wait(uint64_t deadline_us, const Interrupt &interrupt);

    /* The frame of the last wait that said so. */
    const shbf_frame_t &frame() const { return held_; }

    /* A copy of its bytes. Throws Failure when the daemon took the frame back meanwhile. */
    std::string copy() const;

    /*
     * Sends a message as it is. When the daemon does not fetch its messages it tries again until the
     * deadline. Throws Failure when the daemon is gone or does not listen.
     */
    void send(std::string_view message, uint64_t deadline_us);

    /* The same once; whether it was taken. */
    bool try_send(std::string_view message);

  private:
    void release();

    shbf_rcv_t *receiver_;
    bool holds_ = false;
    shbf_frame_t held_{};
};

/* Why attaching to `what` failed, and what to do about it. `error` is a positive errno value. */
std::string attach_failure(const std::string &what, int error);

} // namespace ctl

#endif
