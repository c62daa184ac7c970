/*
 * What happens when another process changes one of the daemon's settings.
 *
 * A new encoder profile takes two writes. "hot_config" (namespace "nvram") changes only what this process
 * knows; "hot_status" = "changing" (namespace "mem") then makes the producers rest, hands the profile to the
 * board and is answered by writing "changed" back. A store that hangs keeps the producers at rest until the
 * writing gives up, 5 s on the development platform.
 *
 * The other keys change device_status and, most of them, the board at once. They read their values
 * differently from the start (start_reading.h), on purpose: here every text decides. A key that was removed
 * from the store changes nothing, but for regioncode and flicker, which go back to their defaults: the region
 * comes to the board with its next time stamp, within 500 ms, the frequency does not.
 *
 * Threads: loop thread; a handler keeps the loop for as long as it runs (hot_status_cb: at least 100 ms). All
 * have the signature of a notification callback (libmortox.h); `user` is null.
 */
#ifndef SETTINGS_CHANGE_HANDLERS_H
#define SETTINGS_CHANGE_HANDLERS_H

#include "libmortox.h"

/* "ok": bound to an owner; anything else: not. The board is told each time; venc_config is not. */
void bind_status_cb(xresponse_t *response, void *user);

/* "off": analytics and streams stop, each time; anything else starts them, once. */
void power_status_cb(xresponse_t *response, void *user);

/* "on": time stamp, wide dynamic range, upside down, each time; anything else ends it, once. */
void watermark_status_cb(xresponse_t *response, void *user);
void wdr_status_cb(xresponse_t *response, void *user);
void flip_status_cb(xresponse_t *response, void *user);

/* The layout of the time stamp (region.h). */
void regioncode_cb(xresponse_t *response, void *user);

/* Mains frequency in Hz, any number; the board is told when it is another one. */
void flicker_status_cb(xresponse_t *response, void *user);

void hot_config_cb(xresponse_t *response, void *user);
void hot_status_cb(xresponse_t *response, void *user);

#endif
