/*
 * Samples on their way from one thread to another: what is to be played, what a sound card has brought.
 * Bounded. Any thread; nothing waits.
 */
#ifndef PLATFORM_BOARD_BOARDD_AUDIO_SAMPLE_QUEUE_H
#define PLATFORM_BOARD_BOARDD_AUDIO_SAMPLE_QUEUE_H

#include "board/boardd/audio/pcm.h"

#include <deque>
#include <mutex>
#include <span>

namespace board {

class SampleQueue {
  public:
    explicit SampleQueue(size_t capacity) : capacity_(capacity) {}

    /* All of them, or none when there is no room for all. */
    bool push(std::span<const int16_t> samples);

    /* All of them; the oldest in the queue give way. */
    void push_newest(std::span<const int16_t> samples);

    /* Fills `samples` as far as the queue reaches, the rest with silence. Result: how many were there. */
    size_t pop(std::span<int16_t> samples);

    void clear();
    size_t size() const;

  private:
    size_t capacity_;
    mutable std::mutex mutex_;
    std::deque<int16_t> samples_;
};

} // namespace board

#endif
