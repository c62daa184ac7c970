/*
 * The microphone's channel (stream_channel.h): a block of 40 ms in each record.
 *
 * Threads: take on the audio thread, everything else on the loop thread.
 */
#ifndef PLATFORM_BOARD_BOARDD_AUDIO_MIC_CHANNEL_H
#define PLATFORM_BOARD_BOARDD_AUDIO_MIC_CHANNEL_H

#include "board/boardd/audio/pcm.h"
#include "board/boardd/stream_channel.h"

namespace board {

constexpr size_t turns_per_block = mic_block_bytes / sizeof(Turn);
using MicBlock = std::array<Turn, turns_per_block>;
static_assert(sizeof(MicBlock) == mic_block_bytes);

struct MicCounts {
    uint32_t blocks; /* captured since boardd started */
    uint32_t lost;   /* of them, not sent: held, or no room */
};

class MicChannel : public StreamChannel {
  public:
    /* `closed`: as StreamChannel has it. Throws std::runtime_error. */
    MicChannel(struct ev_loop *loop, std::function<void()> closed);

    /* Sends a block whose first sample was captured at `timestamp_us`, CLOCK_MONOTONIC. */
    void take(const MicBlock &block, uint64_t timestamp_us);

    MicCounts counts() const;

  private:
    MicCounts counts_{};       /* guarded by the lock, like what follows */
    bool lost_before_ = false; /* for the next record */
};

} // namespace board

#endif
