/*
 * The inside of a mortox_t, shared by libmortox and libmortoxev.
 *
 * libmortox owns the connection and knows how to ask and wait. A handle on a loop is the same with hooks:
 * libmortoxev is called for everything that arrives unasked and when the connection ends. The functions here
 * are exported by libmortox for libmortoxev alone; no other program may call them.
 *
 * Threads: as the handle, one at a time. Nothing is shared between handles.
 */
#ifndef MORTOX_HANDLE_H
#define MORTOX_HANDLE_H

#include "libmortox.h"
#include "mortox/response.h"
#include "mortox/wire.h"

#include <stddef.h>
#include <stdint.h>

constexpr int32_t mortox_default_timeout_ms = 5000;

/* What a handle on a loop adds. All run inside calls on the handle, `owner` is what mortox_internal_new got.
 */
struct MortoxHooks {
    /* A message that is not the answer to the request in progress. Texts are valid during the call. It may
     * disconnect. */
    void (*message)(void *owner, const wire::Message *message);

    /* The connection has ended; its descriptor is closed after this call. */
    void (*lost)(void *owner);

    /* The store has accepted a watch; `accepted` has the names and the present value. Result: the watch's
     * number, or -1 when memory is short. */
    int32_t (*watched)(void *owner, const wire::Message *accepted, mortox_callback_t callback, void *user);

    /* The handle is being closed: stop everything and free `owner`. */
    void (*close)(void *owner);
};

struct mortox {
    const MortoxHooks *hooks; // null in an ordinary handle
    void *owner;
    int fd;                // -1 while not connected
    bool ready;            // connected, and the store has greeted back: requests may be made
    bool visiting;         // in a visit, during which `packet` is in use
    uint32_t last_request; // the latest number
    char error[256];
    uint8_t packet[wire::packet_max_bytes + 1]; // the last one received; one byte more shows one too large
};

extern "C" {

/* A handle that is not connected, or null when memory is short. `hooks` may be null, or lives for ever. */
mortox_t *mortox_internal_new(const MortoxHooks *hooks, void *owner);

/* Milliseconds of a clock that never goes back. */
int64_t mortox_internal_now_ms(void);

/*
 * Connects to the store, waiting until `deadline_ms` for it to accept; 0 means not to wait at all. The handle
 * has to be disconnected, and is not `ready` yet afterwards. Result: 0 or -errno.
 */
int mortox_internal_connect(mortox_t *handle, int64_t deadline_ms);

/*
 * Says hello on a connected handle and waits for the answer. Result: 0, and the handle is `ready`; or -errno,
 * and it is disconnected, without a call of the `lost` hook.
 */
int mortox_internal_greet(mortox_t *handle, int64_t deadline_ms);

/*
 * Sends a message without waiting, under a number of its own that *number takes. Result: 0; or -errno,
 * -EAGAIN when there is no room at present, and `error` says why. The connection stays as it was.
 */
int mortox_internal_send(mortox_t *handle, const wire::Message *message, uint32_t *number);

/*
 * Takes the next message in, without waiting. Result: 1 with a message whose texts are valid until the next
 * call; 0 when there is none; -1 when the connection has ended or is not worth keeping, and `error` says why:
 * the caller disconnects.
 */
int mortox_internal_receive(mortox_t *handle, wire::Message *message);

/* Closes the connection and calls the `lost` hook. `error` stays as it is. */
void mortox_internal_disconnect(mortox_t *handle);

} // extern "C"

#endif
