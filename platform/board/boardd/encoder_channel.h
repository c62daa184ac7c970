/*
 * What comes out of the board on one encoder channel: frames with their headers, or nothing, or answers that
 * stand for a failure.
 *
 * The channel flows unless something holds it: a fault that was asked for, or a source that brings no
 * pictures. While it is held, frames are lost; when it flows again it begins with a key frame.
 *
 * Threads: take on the encoder's thread, everything else on the loop thread; callbacks as they say.
 */
#ifndef PLATFORM_BOARD_BOARDD_ENCODER_CHANNEL_H
#define PLATFORM_BOARD_BOARDD_ENCODER_CHANNEL_H

#include "board/boardd/encoder.h"
#include "board/boardd/frame_channel.h"

#include <mutex>
#include <optional>

namespace board {

/* What fetches bring while a channel is held. */
struct Answers {
    bool silent;    /* nothing at all: the client waits in vain */
    int32_t result; /* -2, -1, or 0 for an empty frame */
    uint32_t count; /* how many; 0: until released */
};

/* Why a channel is held. The first in force counts: a stopped stream brings nothing, however bad the source
 * is. */
enum class Cause { fault, stopped, source };
constexpr size_t cause_count = 3;

/* What a channel has done since boardd started. */
struct ChannelCounts {
    uint32_t frames;     /* that came out of the encoder */
    uint32_t key_frames; /* of them */
    uint32_t lost;       /* that were not sent: held, or too large, or no room */
    uint64_t bytes;      /* payload of `frames` */
};

class EncoderChannel : public FrameSink {
  public:
    struct Callbacks {
        std::function<void()> first_frame; /* of an encoder; on its thread, the channel's lock held */
        std::function<void()> need_key;    /* on the loop thread */
        std::function<void()> closed;      /* on the loop thread: clients cannot reach it any more */
    };

    EncoderChannel(struct ev_loop *loop, int32_t index, Callbacks callbacks);

    /* An encoder is about to start: counts from 0 again. No other encoder runs. */
    void encoder_starts(const VencChannel &encoding);

    /* True once the encoder that runs has brought a frame. */
    bool has_frames() const;

    void take(const EncodedFrame &frame) override;

    void hold(Cause cause, const Answers &answers);
    void release(Cause cause);
    const std::optional<Answers> &held(Cause cause) const { return holds_[index_of(cause)]; }

    /* Sends the answers in force again, for a client that was too slow for them. Called now and then. */
    void repeat_answers();

    ChannelCounts counts() const;
    uint32_t skips() const { return channel_.skips(); }

  private:
    static size_t index_of(Cause cause) { return static_cast<size_t>(cause); }
    const std::optional<Answers> &in_force() const;
    void holds_changed();
    void send_answers(const Answers &answers);
    void send_frame(const EncodedFrame &frame, uint32_t seq);
    void used_up(uint32_t serial);

    Callbacks callbacks_;
    std::optional<Answers>
        holds_[cause_count]; /* written on the loop thread under the lock, so read there without */

    mutable std::mutex mutex_; /* guards what follows */
    VencChannel encoding_{};
    uint32_t next_seq_ = 0;
    bool wants_key_ = false;   /* frames are dropped until the next key frame */
    bool lost_before_ = false; /* for the next record */
    uint32_t serial_ = 0;
    ChannelCounts counts_{};
    FrameChannel channel_;
};

} // namespace board

#endif
