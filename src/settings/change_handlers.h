/*
 * What happens when another process changes one of the daemon's settings.
 *
 * A new encoder profile takes two writes. "hot_config" (namespace "nvram") changes only what this process
 * knows; "hot_status" = "changing" (namespace "mem") then makes the producers rest, hands the profile to the
 * board and is answered by writing "changed" back.
 *
 * Threads: loop thread; a handler keeps the loop for as long as it runs (hot_status_cb: at least 100 ms). All
 * have the signature of a notification callback (libmortox.h); `user` is null.
 */
#ifndef SETTINGS_CHANGE_HANDLERS_H
#define SETTINGS_CHANGE_HANDLERS_H

#include "libmortox.h"

void hot_config_cb(xresponse_t *response, void *user);
void hot_status_cb(xresponse_t *response, void *user);

#endif
