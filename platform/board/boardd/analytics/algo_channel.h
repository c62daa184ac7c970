/*
 * The channel on which libalgo_kit learns what has been detected (analytics_protocol.h).
 *
 * Threads: made and destroyed on the loop thread, the rest on any.
 */
#ifndef PLATFORM_BOARD_BOARDD_ANALYTICS_ALGO_CHANNEL_H
#define PLATFORM_BOARD_BOARDD_ANALYTICS_ALGO_CHANNEL_H

#include "board/analytics_protocol.h"
#include "board/boardd/frame_channel.h"

#include <atomic>
#include <string>

namespace board {

class AlgoChannel {
  public:
    /* `closed`: nobody can attach any more. Throws std::runtime_error when the path cannot be served. */
    AlgoChannel(struct ev_loop *loop, std::function<void()> closed);

    void tell(const std::string &text, uint64_t time_us);
    void tell(const TrackDirection &direction, uint64_t time_us);

    /* How many records could not be sent at all; wraps. */
    uint32_t lost() const { return lost_.load(std::memory_order_relaxed); }

  private:
    void send(AlgoWhat what, uint64_t time_us, const void *payload, size_t bytes);

    FrameChannel channel_;
    std::atomic<uint32_t> lost_{0};
};

} // namespace board

#endif
