/*
 * libmortoxev: the settings store on a libev loop.
 *
 * A handle of this kind takes every call of libmortox.h, and delivers notifications on its loop. Requests
 * block the loop thread until they are answered; what is announced meanwhile is kept and delivered when the
 * loop turns again, never from inside a request, so a change handler is free to write settings itself.
 *
 * When the store goes away the handle reconnects by itself (after 100 ms, then less and less often, at least
 * every 2 s), registers its watches again, compares, and delivers what changed meanwhile as XRESPONSE_RESYNC:
 * at most one notification a key, with the value it has now. A value written back unchanged is not a change
 * here. The same happens when notifications wait for the loop in such numbers (1 MiB of them) that they
 * cannot be kept.
 *
 * Threads: all calls on the loop's thread.
 */
#ifndef LIBMORTOXEV_H
#define LIBMORTOXEV_H

#include "libmortox.h"

#ifdef __cplusplus
extern "C" {
#endif

struct ev_loop;

/*
 * Connects to the store, which it waits for at most 5000 ms when one is there but hangs. `flags` is 0.
 * Result: a handle. When no store answers the handle is returned all the same and keeps trying; registrations
 * fail until it is connected. Null only when memory is short.
 */
mortox_t *libmortoxev_config_open(struct ev_loop *loop, int32_t flags);

/*
 * Disconnects; no callback runs any more, and what was not delivered yet is dropped. To be called before the
 * loop is destroyed, and not from inside a callback on this handle. Null is allowed.
 */
void libmortoxev_close(struct ev_loop *loop, mortox_t *handle);

#ifdef __cplusplus
}
#endif

#endif
