/*
 * The encoder profile: from its JSON text in the settings store to the record that the board takes.
 *
 * The text holds an index for bitrate and resolution of each channel; the tables behind the indexes are
 * here. Writers store the text under "hot_config" and see it applied through "hot_status"
 * (change_handlers.h).
 *
 * Threads: main thread at start-up, then loop thread.
 */
#ifndef SETTINGS_HOT_CONFIG_H
#define SETTINGS_HOT_CONFIG_H

#include "libboardav.h"
#include "libmortox.h"

#include <stdint.h>

/* The profile of this process. Handed to the board with control_venc_dynamically. */
extern VencConfig venc_config;

/*
 * Converts a profile text into venc_config. Result: 0; -1 when the text is no profile: venc_config is then
 * unchanged. A resolution that does not exist keeps the channel's size as it was.
 */
int32_t hot_config_str_to_vencconfig(const char *text);

/*
 * At start-up, after the store was asked for "hot_config": when that brought no profile, takes the default of
 * the fitted sensor and stores it. Ends the process with status 1 when there is no way to get one.
 */
void hot_config_ensure(mortox_t *store);

#endif
