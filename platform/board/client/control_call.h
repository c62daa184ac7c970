/*
 * One request to boardd and its reply, over a control socket that the caller keeps. Compiled into libboardav
 * and libdevice_kitv2.
 *
 * Threads: any, but one call at a time on one descriptor. Not for signal handlers. Errors are negative errno
 * values; nothing here logs.
 */
#ifndef PLATFORM_BOARD_CLIENT_CONTROL_CALL_H
#define PLATFORM_BOARD_CLIENT_CONTROL_CALL_H

#include "board/protocol.h"

#include <stddef.h>
#include <stdint.h>

namespace board {

/* Microseconds of CLOCK_MONOTONIC. Async-signal-safe. */
uint64_t monotonic_us();

/*
 * Connects to the board's control socket; waits until `deadline_us` when too many others are doing so.
 * Result: a descriptor that is closed on exec, which belongs to the caller; -ENOENT or -ECONNREFUSED when no
 * boardd serves it; -EAGAIN when the time is up.
 */
int control_connect(uint64_t deadline_us);

/* A request, and where the payload of its reply goes. */
struct ControlCall {
    uint32_t op;
    int32_t value;
    const void *payload; /* null when payload_bytes is 0 */
    size_t payload_bytes;
    void *reply; /* written only when the board answers 0 or more; null when reply_bytes is 0 */
    size_t reply_bytes;
    /* Where the descriptor of the file that comes with an answer of 0 or more goes: the caller's, closed on
     * exec. A reply without one is none. Null when no file is expected; one that comes is closed. */
    int *reply_file = nullptr;
};

/* The two halves of control_call, for one who has other things to do while the reply is on its way. A receive
 * that has timed out may be repeated. */
int control_send(int fd, uint32_t id, const ControlCall &call);
int control_receive(int fd, uint32_t id, const ControlCall &call, uint64_t deadline_us, int32_t *result);

/*
 * Sends the request under `id` and waits for its reply until `deadline_us`. Replies to other ids, which come
 * when an earlier call gave up, are passed over.
 *
 * Result: 0 with *result set to the board's answer; -ETIMEDOUT; -EPIPE when boardd is gone; -EPROTO when what
 * came back is no reply to this request. After the last two the socket is of no further use.
 */
int control_call(int fd, uint32_t id, const ControlCall &call, uint64_t deadline_us, int32_t *result);

} // namespace board

#endif
