/*
 * libalgo_kit's way to boardd, where the detectors are (board/analytics_protocol.h): a control connection of
 * its own, and the channel of what has been detected.
 *
 * Once either has failed, because boardd is gone or talks nonsense, both are of no use any more; the
 * session is closed and not opened again by itself.
 *
 * Threads: open, close and call by one at a time; take by one at a time; close not while somebody takes.
 */
#ifndef PLATFORM_ALGO_KIT_SESSION_H
#define PLATFORM_ALGO_KIT_SESSION_H

#include "board/analytics_protocol.h"
#include "libshbf_receiver.h"

namespace algo_kit {

struct Session {
    int control; /* -1 while closed */
    uint32_t next_id;
    shbf_rcv_t *receiver;
};

constexpr Session closed_session = {-1, 1, nullptr};

/* True when it is open then. Takes up to 4 s when boardd hangs. */
bool session_open(Session &session);

/* A closed session stays as it is. */
void session_close(Session &session);

/* One request (AlgoOp). Result: boardd's answer, or -1 when there is none. Takes up to 2 s. */
int32_t session_call(Session &session, uint32_t op, int32_t value, const void *payload, size_t payload_bytes);

/* Something that boardd has detected. */
struct Detection {
    uint32_t what; /* board::AlgoWhat */
    union {
        struct {
            char bytes[board::algo_text_max_bytes]; /* with its NUL */
            int32_t length;                         /* without it; more than 0 */
        } text;
        TrackDirection direction;
    };
};

enum class Taken { detection, nothing, more, failed };

/* As much as one session_take looks at: a board that floods the channel does not keep its caller. */
constexpr int session_takes_most = 16;

/* Takes the next detection off the channel, without waiting. What has become too old is passed over; after
 * session_takes_most of that the answer is `more`: nothing yet, but the channel may have more to read. The
 * channel is polled only after `nothing`. */
Taken session_take(Session &session, Detection *detection);

} // namespace algo_kit

#endif
