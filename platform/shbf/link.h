/*
 * A receiver's end of a channel: the attached socket, the mapped arena, the release table. Both receiver
 * interfaces (receiver.cpp, receiver_ev.cpp) stand on it. Exported from libshbf for libshbfev alone; not part
 * of the public contract.
 *
 * What comes from the broadcaster is checked: a frame that does not lie inside the arena, or a memory file
 * that could be cut short under this process, ends the link with -EPROTO.
 *
 * Threads: one at a time, but for shbf_link_release, which any thread may call.
 */
#ifndef SHBF_LINK_H
#define SHBF_LINK_H

#include "export.h"
#include "libshbf_receiver.h"
#include "shbf/wire.h"

namespace shbf {

struct Link {
    int fd;        // -1 when not open
    bool attached; // Welcome has come
    int32_t id;
    uint32_t index;
    ReleaseWord *released;
    uint32_t slots;
    const uint8_t *arena; // null before the Arena packet
    uint32_t arena_bytes;
    uint8_t *packet; // one packet at a time, and a zero behind it
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
 * Takes one packet; waits for it if `wait` is true.
 * Result: 1 with *event filled for a frame or message; 0 for a packet that only concerns the link (it may
 * have become attached); -EAGAIN when there is none; -EPIPE when the broadcaster has ended the link; -EPROTO
 * when it is not to be trusted; the broadcaster's reason, negative, when it refused this receiver; -EINTR.
 */
PLATFORM_API int shbf_link_receive(shbf::Link *link, shbf_event_t *event, bool wait);

/* Are the frames that it holds still its own? */
PLATFORM_API bool shbf_link_intact(const shbf::Link *link);

PLATFORM_API void shbf_link_release(const shbf::Link *link, const shbf_frame_t *frame);
PLATFORM_API int32_t shbf_link_send(const shbf::Link *link, const void *bytes, uint32_t length);

#endif
