/*
 * The control event loop: the one libev loop of the process (ev_default_loop), on a thread of its own.
 *
 * Everything that other processes cause runs here, one at a time: settings changes, commands, receivers
 * that come, go and ask.
 */
#ifndef CORE_IPC_LOOP_H
#define CORE_IPC_LOOP_H

#include "libmortox.h"

#include <stdint.h>

/* The loop's connection to the settings store. Loop thread. */
extern mortox_t *settings_handle;

/*
 * The body of the thread; the argument is ignored. Ends when the loop is stopped, when a media channel's
 * server is closed, or early when a channel cannot be created; there is no second start, and producers go on
 * without channels. Without the command socket (control/ipc_server.h) the thread ends before there is any
 * channel, and nothing is torn down.
 */
void *ipc_thread(void *argument);

/*
 * Makes the loop end. Any thread, and the signal handler, at any time. Where there is no loop, before the
 * thread has made it and after it has destroyed it, there is nothing to stop. A stop before the thread can be
 * woken is forgotten; one while it creates the channels ends the loop as soon as it runs. (The signal handler
 * ends the process in each case.)
 */
void stop_ipc_loop(void);

/* Destroys the first `count` media channels. Loop thread. */
void destroy_shbf_servers(int32_t count);

#endif
