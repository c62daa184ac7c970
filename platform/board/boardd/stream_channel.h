/*
 * What comes out of the board on one channel: records with their payload, or nothing, or answers that stand
 * for a failure. The encoders' channels and the microphone's are of this kind.
 *
 * The channel flows unless something holds it: a fault that was asked for, or a source that brings nothing.
 * While it is held, what comes from the source is lost.
 *
 * Threads: those who publish use their own thread and the lock; everything else runs on the loop thread;
 * callbacks as they say.
 */
#ifndef PLATFORM_BOARD_BOARDD_STREAM_CHANNEL_H
#define PLATFORM_BOARD_BOARDD_STREAM_CHANNEL_H

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

class StreamChannel {
  public:
    virtual ~StreamChannel() = default;
    StreamChannel(const StreamChannel &) = delete;
    StreamChannel &operator=(const StreamChannel &) = delete;

    void hold(Cause cause, const Answers &answers);
    void release(Cause cause);
    const std::optional<Answers> &held(Cause cause) const { return holds_[index_of(cause)]; }

    /* Sends the answers in force again, for a client that was too slow for them. Called now and then. */
    void repeat_answers();

    /* How often clients were too slow; wraps. */
    uint32_t skips() const { return channel_.skips(); }

  protected:
    /* `closed`: clients cannot reach the channel any more; on the loop thread. Throws std::runtime_error when
     * the path cannot be served. */
    StreamChannel(struct ev_loop *loop, const FrameChannel::Kind &kind, std::function<void()> closed);

    /* Something holds the channel; under the lock. */
    bool held() const { return in_force().has_value(); }

    /* A hold came or went; under the lock. */
    virtual void holds_changed() {}

    /* A hold went; without the lock. */
    virtual void released() {}

    mutable std::mutex mutex_; /* guards what the derived class has, too */
    FrameChannel channel_;     /* published to under the lock */

  private:
    static size_t index_of(Cause cause) { return static_cast<size_t>(cause); }
    const std::optional<Answers> &in_force() const;
    void change_hold(Cause cause, const std::optional<Answers> &answers);
    void send_answers(const Answers &answers);
    void used_up(uint32_t serial);

    uint32_t magic_;
    std::optional<Answers>
        holds_[cause_count]; /* written on the loop thread under the lock, so read there without */
    uint32_t serial_ = 0;    /* of the answers in force */
};

} // namespace board

#endif
