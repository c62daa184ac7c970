/*
 * status --follow: both streams at once, on a libev loop.
 *
 * Attaches to each stream as any receiver does (shbfev_rcv_*, libshbf_receiver.h), and attaches again and
 * again when strell_v2 is not there. Asks for nothing, so nobody else notices; the daemon counts it among the
 * receivers, which others see, and it leaves itself out of what it shows.
 *
 * Threads: one.
 */
#ifndef STRELLCTL_STATUS_FOLLOW_H
#define STRELLCTL_STATUS_FOLLOW_H

#include "libshbf_receiver.h"
#include "strellctl/bitstream.h"
#include "strellctl/frame.h"
#include "strellctl/stream.h"
#include "strellctl/stream_statistics.h"

#include <cstdint>
#include <optional>
#include <string>

struct ev_loop;

namespace ctl {

/* One stream, whether it is there or not. Lives until its loop has ended. */
class FollowedStream {
  public:
    /* Begins to attach. */
    FollowedStream(struct ev_loop *loop, const Stream &stream);
    ~FollowedStream();
    FollowedStream(const FollowedStream &) = delete;
    FollowedStream &operator=(const FollowedStream &) = delete;

    /* To be called each second: attaches again if need be, and asks how many receivers there are. */
    void look();

    /* The state at this moment. */
    struct State {
        const Stream *stream;
        bool attached;
        uint32_t receivers; // besides this one
        std::optional<StreamFormat> format;
        double fps;
        double bits_per_s;
        uint64_t frames; // since it was attached
        uint64_t lost;
    };
    State state(uint64_t now_us) const;

  private:
    void open();
    void on_frame(const shbf_frame_t &frame);
    void on_closed();

    struct ev_loop *loop_;
    const Stream &stream_;
    shbfev_rcv_t *receiver_ = nullptr;
    bool attached_ = false;
    uint32_t others_ = 0;
    FormatFinder format_;
    StreamStatistics statistics_;
};

std::string state_line(const FollowedStream::State &state);

/* Runs until Ctrl-C. Result: the exit code. */
int follow_status(bool json);

} // namespace ctl

#endif
