/*
 * What comes out of the board on one encoder channel (stream_channel.h): frames with their headers. After it
 * was held it begins with a key frame.
 *
 * Threads: take on the encoder's thread, everything else on the loop thread; callbacks as they say.
 */
#ifndef PLATFORM_BOARD_BOARDD_ENCODER_CHANNEL_H
#define PLATFORM_BOARD_BOARDD_ENCODER_CHANNEL_H

#include "board/boardd/encoder.h"
#include "board/boardd/stream_channel.h"

namespace board {

/* What a channel has done since boardd started. */
struct ChannelCounts {
    uint32_t frames;     /* that came out of the encoder */
    uint32_t key_frames; /* of them */
    uint32_t lost;       /* that were not sent: held, or too large, or no room */
    uint64_t bytes;      /* payload of `frames` */
};

class EncoderChannel : public FrameSink, public StreamChannel {
  public:
    struct Callbacks {
        std::function<void()> first_frame; /* of an encoder; on its thread, the channel's lock held */
        std::function<void()> need_key;    /* on the loop thread */
        std::function<void()> closed;      /* on the loop thread: clients cannot reach it any more */
    };

    EncoderChannel(struct ev_loop *loop, int32_t index, const Callbacks &callbacks);

    /* An encoder is about to start: counts from 0 again. No other encoder runs. */
    void encoder_starts(const VencChannel &encoding);

    /* True once the encoder that runs has brought a frame. */
    bool has_frames() const;

    void take(const EncodedFrame &frame) override;

    ChannelCounts counts() const;

  private:
    void holds_changed() override { wants_key_ = true; }
    void released() override { callbacks_.need_key(); }
    void send_frame(const EncodedFrame &frame, uint32_t seq);

    Callbacks callbacks_;
    VencChannel encoding_{}; /* this and what follows is guarded by the lock */
    uint32_t next_seq_ = 0;
    bool wants_key_ = false;   /* frames are dropped until the next key frame */
    bool lost_before_ = false; /* for the next record */
    ChannelCounts counts_{};
};

} // namespace board

#endif
