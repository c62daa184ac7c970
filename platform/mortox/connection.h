/*
 * What the source files of libmortox share beyond handle.h: waiting, and saying what failed.
 *
 * Threads: as the handle.
 */
#ifndef MORTOX_CONNECTION_H
#define MORTOX_CONNECTION_H

#include "mortox/handle.h"

/* Waits until something can be sent or the connection is broken. Result: 0, -ETIMEDOUT or -errno. */
int await_writable(mortox_t *handle, int64_t deadline_ms);

/*
 * Takes the next message in, waiting until the deadline. Result: 0 with a message whose texts are valid until
 * the next one is taken in; -ETIMEDOUT; -ECONNRESET when the connection has ended or is not worth keeping;
 * another -errno. `error` says why.
 */
int await_message(mortox_t *handle, int64_t deadline_ms, wire::Message *message);

/* Sets the sentence that libmortox_last_error answers; printf-like. */
void set_error(mortox_t *handle, const char *format, ...) __attribute__((format(printf, 2, 3)));

#endif
