/*
 * The heart of a broadcaster: a channel's arena, its receivers, and the publishing of buffers to them.
 *
 * It knows nothing of event loops: libshbfev (broadcaster.cpp) listens, reads what receivers say, and calls
 * channel_attach and channel_detach on its loop thread. Everything else may be called on any thread, at any
 * time, also after channel_close. Exported from libshbf for libshbfev alone; not part of the public contract.
 *
 * Locks: Channel::lock guards the arena and the receivers. It is never held across a system call on the way
 * of a frame (the clock is none, where the C library reads it by itself); attaching and detaching, and the
 * first frame in a new arena, make some under it. There is no second lock.
 */
#ifndef SHBF_CHANNEL_H
#define SHBF_CHANNEL_H

#include "export.h"
#include "shbf/arena.h"

#include <pthread.h>

namespace shbf {

/*
 * A receiver as the broadcaster sees it. Made and freed on the loop thread. Who is about to wake it, or to
 * send to it, pins it under the lock; detaching waits for the pins, so nobody ever writes to a descriptor
 * that has been closed, or to memory that is no longer the link page. The wait is short: neither blocks.
 */
struct Receiver {
    int32_t id; // positive, never used again in this channel
    int fd;
    uint32_t index; // bit in Block::holders
    uint32_t window;
    LinkPage *page;
    // all under the lock
    uint32_t held;               // blocks with its bit set
    uint32_t skipped;            // frames and messages
    uint32_t pushed;             // entries of its ring
    uint32_t packets;            // sent to it behind Welcome, Wakes not counted
    uint32_t begun;              // the same, and those that a thread is about to send
    bool has_bell;               // the Bell packet has been sent
    uint32_t arenas[arenas_max]; // number of the last arena that it was sent, for each place
    bool given_up;               // holds nothing, is sent nothing, and waits for the loop side to drop it
    // not under the lock
    std::atomic<int32_t> pins;
    // errno value that the loop side has not yet reported; 0 for none, ETIMEDOUT when it was given up
    std::atomic<int32_t> error;
};

/* What a channel has needed since the last time that it was looked at. */
struct Usage {
    uint32_t allocations;
    uint32_t largest;   // buffer asked for
    uint32_t in_flight; // bytes in use when another was asked for
};

/* The memory of a channel (memory.h); all under the lock but where it says otherwise. */
struct Memory {
    Arena *arena;   // what is allocated from; null before the first allocation
    Arena *retired; // the one before, while a buffer of it is in use
    uint32_t last_number;
    uint32_t full_bytes; // what an arena has that is not shrunk
    uint32_t largest;    // the largest buffer that was asked for of late
    uint32_t patience;   // allocations in which little was needed, before it is shrunk
    Usage usage;
    // Where the arenas are, for finding the channel of a buffer without the lock; by number % arenas_max.
    std::atomic<uint8_t *> base[arenas_max];
    std::atomic<uint32_t> bytes[arenas_max];
};

struct Channel {
    pthread_mutex_t lock;
    Memory memory;
    Receiver *receivers[receivers_max];
    uint32_t receiver_count;
    int32_t last_id;
    uint32_t sequence; // of the last publication; counts them
    uint32_t skipped;
    bool closed;
    std::atomic<int32_t> waiting; // threads that wait in `unpinned`
    pthread_cond_t unpinned;
    int wake_fd;                    // eventfd that tells the loop side of errors; -1 when nobody listens
    std::atomic<int32_t> wake_pins; // threads that are about to write to it
    Bell *bell;                     // null before the first allocation
    int bell_fd;                    // for receivers
    std::atomic<int32_t> bell_pins; // threads that are about to ring it
    Channel *next;                  // all channels of the process; set once
};

/* All receivers of the channel, instead of one id. */
constexpr int32_t everyone = 0;

} // namespace shbf

/* Makes `channel` (zeroed memory) usable. It is known to the process from now on and must never be freed. */
PLATFORM_API void shbf_channel_init(shbf::Channel *channel);

/* The channel that `buffer` was allocated on, or null; any one for an address that is no buffer. */
PLATFORM_API shbf::Channel *shbf_channel_of(const void *buffer);

/* As shbfev_brd_alloc, shbf_set_size, shbf_get_size and shbf_free. */
PLATFORM_API void *shbf_channel_alloc(shbf::Channel *channel, uint32_t size);
PLATFORM_API int32_t shbf_channel_trim(shbf::Channel *channel, void *buffer, uint32_t size);
PLATFORM_API uint32_t shbf_channel_size(shbf::Channel *channel, const void *buffer);
PLATFORM_API void shbf_channel_free(shbf::Channel *channel, void *buffer);

/* As shbfev_brd_broadcast (takes the buffer) and shbfev_brd_send (does not). */
PLATFORM_API int32_t shbf_channel_broadcast(shbf::Channel *channel, void *buffer);
PLATFORM_API int32_t shbf_channel_send(shbf::Channel *channel, int32_t receiver, void *buffer);

/* As shbfev_brd_send_message, and (receiver `everyone`) shbfev_brd_broadcast_message. */
PLATFORM_API int32_t shbf_channel_message(shbf::Channel *channel, int32_t receiver, const void *bytes,
                                          int32_t length);

/* ---- loop thread only ---- */

/*
 * Takes over the socket `fd` of a peer that said a valid Hello, and welcomes it.
 * Result: 0 with *receiver set; -ENOSPC when there is no place, or another
 * negative errno value: `fd` is then still the caller's.
 */
PLATFORM_API int32_t shbf_channel_attach(shbf::Channel *channel, int fd, uint32_t window,
                                         shbf::Receiver **receiver);

/* Frees all that the receiver holds, and the receiver; it sees the end of the connection. */
PLATFORM_API void shbf_channel_detach(shbf::Channel *channel, shbf::Receiver *receiver);

/*
 * After the last receiver has been detached: threads that still use the channel reach nobody, and get private
 * memory as soon as no buffer from before is left.
 */
PLATFORM_API void shbf_channel_close(shbf::Channel *channel);

/* Hands over the eventfd that is written when a receiver has an error to report; -1 to end that. */
PLATFORM_API void shbf_channel_set_wake(shbf::Channel *channel, int fd);

/* What the channel says about itself. */
PLATFORM_API void shbf_channel_describe(shbf::Channel *channel, shbf::Info *info);

#endif
