/*
 * A receiver's end of a channel: the attached socket, the mapped arena, the link page. Both receiver
 * interfaces (receiver.cpp, receiver_ev.cpp) stand on it. Exported from libshbf for libshbfev alone; not part
 * of the public contract.
 *
 * Frames come as entries of the ring, without a system call; all else as packets on the socket. Both carry
 * how much of the other came before them, so what arrives is in the order in which it was sent. A receiver
 * goes through three steps: take what there is; when there is nothing, look, which reads the socket and says
 * that it is going to poll; or sleep, in one system call, until there is something.
 *
 * What comes from the broadcaster is checked, a frame's description after it has been copied out of the ring:
 * a frame that does not lie inside the arena, or a memory file that could be cut short under this process,
 * ends the link with -EPROTO.
 *
 * Threads: one at a time, but for shbf_link_release, which any thread may call.
 */
#ifndef SHBF_LINK_H
#define SHBF_LINK_H

#include "export.h"
#include "libshbf_receiver.h"
#include "shbf/wire.h"

namespace shbf {

/* An arena as a receiver sees it. */
struct Mapping {
    const uint8_t *base; // null before the Arena packet
    uint32_t bytes;
    uint32_t number;
    uint32_t held; // frames in it that were taken and not yet released; atomic
};

struct Link {
    int fd;        // -1 when not open
    bool attached; // Welcome has come
    int32_t id;
    LinkPage *page;
    const Bell *bell;           // null before the Bell packet
    uint32_t index;             // its bit on the bell
    uint32_t false_alarms;      // wake-ups in a row with nothing to take
    uint32_t late;              // weight of wake-ups from the bell that came late
    bool own_word;              // does not trust the bell any more
    uint32_t entries;           // taken from the ring
    uint32_t packets;           // taken from the socket, behind Welcome
    Mapping arenas[arenas_max]; // by number % arenas_max
    uint32_t taken[slots_max]; // which taking, from 1, of the frame that it has in each slot; 0: none; atomic
    uint8_t *packet;           // one packet at a time, and a zero behind it
    // a message in `packet` that waits for the frames before it
    bool message_waits;
    uint32_t message_length;
    uint32_t message_after; // entries
};

} // namespace shbf

/*
 * Connects to the channel at `path`, waiting up to `timeout_ms` for room in its backlog, and says Hello. Any
 * Link, also one that could not be opened, is ended with shbf_link_close. Result: 0, or a negative errno
 * value.
 */
PLATFORM_API int shbf_link_open(shbf::Link *link, const char *path, shbf::Role role, uint32_t window,
                                int timeout_ms);
PLATFORM_API void shbf_link_close(shbf::Link *link);

/*
 * Takes the next frame or message that is known to be there. Mostly without a system call, never waits.
 * Result: 1 with *event filled; 0 for what only concerns the link (it may have become attached); -EAGAIN when
 * there is nothing; -EPIPE when the broadcaster has ended the link; -EPROTO when it is not to be trusted; the
 * broadcaster's reason, negative, when it refused this receiver; -EINTR.
 */
PLATFORM_API int shbf_link_take(shbf::Link *link, shbf_event_t *event);

/*
 * As shbf_link_take, for who found nothing and is going to poll the socket: asks to be woken there, and reads
 * the socket. After -EAGAIN the socket becomes readable when there is something.
 */
PLATFORM_API int shbf_link_look(shbf::Link *link, shbf_event_t *event);

/*
 * Sleeps until there may be something to take, at most `timeout_ms` (negative: for ever). An attached link.
 * Result: as shbf_link_take; 0 also when there may be something now; -ETIMEDOUT.
 */
PLATFORM_API int shbf_link_sleep(shbf::Link *link, int64_t timeout_ms);

/* Are the frames that it holds still its own? */
PLATFORM_API bool shbf_link_intact(const shbf::Link *link);

PLATFORM_API void shbf_link_release(shbf::Link *link, const shbf_frame_t *frame);
PLATFORM_API int32_t shbf_link_send(const shbf::Link *link, const void *bytes, uint32_t length);

#endif
