/*
 * Where the analytics get their pictures: now and then one of those that the capture makes, before anything
 * is drawn or written into it. The capture copies a part of the rows, which takes a fraction of a
 * millisecond, and never waits; what comes while nobody has taken the last one is lost.
 *
 * Threads: offer on the capture's thread, wait on the analytics', the others on any.
 */
#ifndef PLATFORM_BOARD_BOARDD_ANALYTICS_FRAME_TAP_H
#define PLATFORM_BOARD_BOARDD_ANALYTICS_FRAME_TAP_H

#include "board/boardd/picture/effects.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <vector>

namespace board {

/* Luma, rows without gaps; the picture may have had more of them. */
struct TappedFrame {
    std::vector<uint8_t> luma;
    int32_t width = 0;
    int32_t height = 0;
    uint64_t time_us = 0; /* CLOCK_MONOTONIC */
    uint32_t look = 0;    /* Picture::look */
};

class FrameTap {
  public:
    /* Whether pictures are wanted; not, at first. */
    void open(bool wanted) { open_.store(wanted, std::memory_order_relaxed); }

    /* A picture of that time. */
    void offer(const Plane &y, uint64_t time_us, uint32_t look);

    /* Waits for the next one, and swaps it into *frame. False when wake came, or nothing within
     * `timeout_ms`. */
    bool wait(TappedFrame *frame, int32_t timeout_ms);

    /* Makes the wait end. */
    void wake();

  private:
    std::atomic<bool> open_{false};
    uint64_t due_us_ = 0; /* the capture's */
    std::mutex mutex_;
    std::condition_variable changed_;
    TappedFrame frame_;
    bool there_ = false;
    bool woken_ = false;
};

} // namespace board

#endif
