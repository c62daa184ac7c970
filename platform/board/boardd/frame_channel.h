/*
 * The way of records from one encoder, or the microphone, to libboardav: a shared-buffer channel.
 *
 * Threads: made and destroyed on the loop thread; publish on any.
 */
#ifndef PLATFORM_BOARD_BOARDD_FRAME_CHANNEL_H
#define PLATFORM_BOARD_BOARDD_FRAME_CHANNEL_H

#include "board/protocol.h"
#include "libshbfev.h"

#include <atomic>
#include <functional>

namespace board {

class FrameChannel {
  public:
    struct Callbacks {
        std::function<void()> attached;               /* a client came; it has seen nothing so far */
        std::function<void(uint32_t serial)> used_up; /* a client has given all answers of a venc_answer */
        std::function<void()> closed;                 /* nobody can attach any more */
    };

    /* What goes over it. */
    struct Kind {
        const char *path;
        uint32_t magic;             /* of its records and messages */
        uint32_t payload_max_bytes; /* behind a record */
        uint32_t arena_bytes;       /* a quarter of the memory it has; more than the largest record needs */
    };

    /* Serves `kind.path`. The callbacks run on the loop thread. Throws std::runtime_error when it cannot. */
    FrameChannel(struct ev_loop *loop, const Kind &kind, Callbacks callbacks);
    ~FrameChannel();
    FrameChannel(const FrameChannel &) = delete;
    FrameChannel &operator=(const FrameChannel &) = delete;

    /*
     * Sends a record, and `length` bytes behind it, to every client. Never waits; a client that does not
     * fetch loses it. False when it could not be sent to anybody: it is too large, or clients hold too much.
     */
    template <typename Info>
    bool publish(const StreamRecord<Info> &record, const uint8_t *bytes, uint32_t length) {
        return send(&record, sizeof record, bytes, length);
    }

    /* How often clients were too slow; wraps. */
    uint32_t skips() const { return skips_.load(std::memory_order_relaxed); }

  private:
    bool send(const void *record, uint32_t record_bytes, const uint8_t *bytes, uint32_t length);
    static int32_t on_closed(void *self);
    static int32_t on_attached(void *self, int32_t receiver);
    static int32_t on_error(void *self, int32_t receiver, int32_t error);
    static int32_t on_message(void *self, int32_t receiver, const void *bytes, int32_t length);

    Kind kind_;
    shbfev_brd_t *channel_;
    Callbacks callbacks_;
    std::atomic<uint32_t> skips_{0};
};

} // namespace board

#endif
