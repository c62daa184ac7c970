/*
 * The settings as they are when the daemon starts.
 *
 * Each key has its own way to read a value, and they differ on purpose: a word that a key does not know
 * leaves most flags at their defaults, and overwrites two. The change handlers (change_handlers.h) read the
 * same keys differently again.
 */
#ifndef SETTINGS_START_READING_H
#define SETTINGS_START_READING_H

/*
 * Reads every key from the store into device_status and venc_config (which the caller has zeroed), once, in
 * order. A key that is missing or unreadable keeps its default. Ends the process with status 1 when the store
 * cannot be opened, or when no encoder profile can be had (hot_config_ensure).
 *
 * Threads: main thread, before any other exists.
 */
void settings_read(void);

#endif
