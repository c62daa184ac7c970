/*
 * libshbfev: shared-buffer channels on a libev loop, the broadcaster's side.
 *
 * A channel is a path under /run. One process, the broadcaster, creates it; receivers in any number of other
 * processes attach to it. Two things travel on a channel: shared buffers (libshbf.h), from the broadcaster to
 * its receivers without a copy, and plain byte messages of up to SHBF_MESSAGE_MAX bytes, both ways.
 *
 * Threads, by function:
 *   - loop thread: shbfev_brd_event, shbfev_brd_start, shbfev_brd_destroy, and every callback;
 *   - any thread:  shbfev_brd_alloc, _broadcast, _send, _send_message, _broadcast_message. They may run on
 *     several threads at once, on one channel or many, also while the loop thread destroys the channel.
 * Nothing here is for signal handlers.
 *
 * A channel that was started may outlive its loop: the daemon never destroys its event channels, and when it
 * ends it destroys the loop while other threads (analytics) still broadcast on them, up to exit(). So the
 * calls for any thread do not touch the loop itself; what they send then may reach nobody, and no callback
 * runs any more. shbfev_brd_destroy is not called on such a channel.
 *
 * Blocking: no call waits for a receiver, ever. A receiver that is stopped or slow costs itself frames, and
 * others only for the second after which it is given up (code 4, ETIMEDOUT). One that is hostile may attach
 * again and do so once more: whom not to trust with a channel the access file says.
 *
 * A child that is forked and does not call exec keeps the channel's socket alive, and so its path taken; this
 * library makes all its descriptors close on exec.
 *
 * Errors are negative errno values.
 */
#ifndef LIBSHBFEV_H
#define LIBSHBFEV_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct ev_loop;

/* A channel as its broadcaster knows it. */
typedef struct shbfev_brd shbfev_brd_t;

/* The largest plain message, either way, in bytes. */
#define SHBF_MESSAGE_MAX 65536

/* The events of a channel, and the callback that each takes. */
#define SHBFEV_SERVER_CLOSED 1   /* shbfev_server_callback   */
#define SHBFEV_RECEIVER_NEW 2    /* shbfev_receiver_callback */
#define SHBFEV_RECEIVER_CLOSED 3 /* shbfev_receiver_callback */
#define SHBFEV_RECEIVER_ERROR 4  /* shbfev_error_callback    */
#define SHBFEV_MESSAGE 5         /* shbfev_message_callback  */

/*
 * Code 1: nobody can attach to this channel any more: its socket failed, or its path was removed or taken by
 * somebody else. Receivers that are attached are detached without an event each. The channel stays allocated
 * until shbfev_brd_destroy. The result is not used.
 */
typedef int32_t (*shbfev_server_callback)(void *user);

/*
 * Codes 2 and 3: a receiver attached, or is gone, for whatever reason. Receiver ids are positive and are not
 * used again in the life of a channel. Between the two events the receiver can be sent to; every receiver
 * that had its event 2 gets exactly one event 3, unless the channel itself goes first. The result is not
 * used.
 */
typedef int32_t (*shbfev_receiver_callback)(void *user, int32_t receiver);

/*
 * Code 4: something was not delivered to, or not understood from, one receiver.
 *   EAGAIN  the receiver is behind: what was to be sent was skipped for it. When skips come faster than the
 *           loop turns, one event stands for several. Or the receiver sends more messages than the channel
 *           takes in a second: those beyond are dropped, and one event a second stands for them;
 *   ETIMEDOUT  the receiver left a buffer unreleased for over a second while the channel was short of memory.
 *           What it held has been taken back, and it is dropped, whatever the answer;
 *   EPROTO  the receiver sent something that is no message of this protocol; EMSGSIZE: a message too long
 *           for the channel.
 * The result decides: negative keeps the receiver, and only what failed is skipped; zero or more drops it
 * (event 3 follows). Without a callback the receiver is kept on EAGAIN and dropped otherwise.
 */
typedef int32_t (*shbfev_error_callback)(void *user, int32_t receiver, int32_t error_number);

/*
 * Code 5: a plain message came from a receiver. `bytes` is valid during the callback; the byte behind the
 * last one is 0, so a text may be read as a string, but its content is whatever the other process chose to
 * send. An empty message has length 0. The result is not used.
 */
typedef int32_t (*shbfev_message_callback)(void *user, int32_t receiver, const void *bytes, int32_t length);

/* Any of the above, as shbfev_brd_event takes it: cast with SHBFEV_CALLBACK. */
typedef void (*shbfev_callback)(void);
#ifdef __cplusplus
#define SHBFEV_CALLBACK(function) (reinterpret_cast<shbfev_callback>(function))
#else
#define SHBFEV_CALLBACK(function) ((shbfev_callback)(function))
#endif

/*
 * Makes a channel for a path that begins with "/run/". Nothing is visible to others before shbfev_brd_start.
 * The environment variable STRELL_RUN_DIR, when set, takes the place of "/run".
 *
 * Result: the channel, or null when the path is none of that kind, too long for a socket address, or memory
 * is short. Every other function takes a null channel as one on which everything fails (-EINVAL, or null).
 */
shbfev_brd_t *shbfev_brd_create(const char *path);

/*
 * Registers the callback of one event code; a second registration of a code replaces the first. Before
 * shbfev_brd_start. `user` is handed to the callback and belongs to the caller.
 * Result: 0, or -EINVAL for a code outside 1 to 5.
 */
int32_t shbfev_brd_event(shbfev_brd_t *brd, int32_t code, shbfev_callback callback, void *user);

/*
 * Opens the channel at its path and serves it from `loop`, on whose thread every callback then runs.
 * A socket file that a crashed process left at the path is replaced.
 *
 * Who may attach, and how much, is read here from the access file (docs/channel_access.md): by default
 * /etc/strell/channels.conf, or what the environment variable STRELL_CHANNELS_CONF names. When that file
 * cannot be followed, the channel starts and is closed: everybody is refused, and the log says what to
 * correct. Who is refused gets a line in the log (libvuto_util.h); of each channel ten at once, and ten a
 * minute in the long run.
 *
 * Result: 0 or more; -EADDRINUSE when a living process serves the path, -EEXIST when something that is no
 * socket stands there, -EBUSY when somebody keeps the directory locked (it is waited for, but no longer than
 * 200 ms), or another negative errno value (directory missing, no permission ...).
 */
int32_t shbfev_brd_start(struct ev_loop *loop, shbfev_brd_t *brd);

/*
 * A writable buffer of `size` bytes, 64-byte aligned, or null when the channel's arena has no room at the
 * moment (receivers hold too much) or never will (`size` larger than the arena). The content is undefined.
 *
 * The arena is made at the first call: four times the first size, at least 64 KiB. A channel on which nothing
 * is allocated has none. One that needs much less for 256 calls gets a smaller one, and the full size back as
 * soon as it is short; after that it takes twice as many calls.
 *
 * After shbfev_brd_destroy the call still hands out buffers, so that a producer thread that comes too late
 * does no harm; they are of memory that nobody else sees as soon as no buffer from before is left.
 */
void *shbfev_brd_alloc(shbfev_brd_t *brd, uint32_t size);

/*
 * Publishes a buffer to every receiver that is attached now. A receiver that is too far behind gets event 4
 * with EAGAIN instead; that is no failure of the call.
 *
 * Result: the number of receivers that were sent the buffer, 0 included: the library has taken the buffer.
 * Negative: -EINVAL when it is no buffer of this channel that the caller owns; nothing has changed.
 */
int32_t shbfev_brd_broadcast(shbfev_brd_t *brd, void *buffer);

/*
 * Sends a buffer to one receiver. The caller keeps its reference and frees it when done; a buffer may be sent
 * to several receivers in turn, and also be broadcast after that (to those who have not got it), but must not
 * be written after the first.
 * Result: 0; -ENOENT when there is no such receiver (any more); -EAGAIN when it is too far behind (event 4
 * follows); -EALREADY when it has been sent this buffer before; -EINVAL when it is no buffer of
 * this channel that the caller owns.
 */
int32_t shbfev_brd_send(shbfev_brd_t *brd, int32_t receiver, void *buffer);

/*
 * Sends a copy of `length` bytes to one receiver, or to all. Results as for _send and _broadcast, and
 * -EMSGSIZE when `length` is over SHBF_MESSAGE_MAX or negative. One whose connection has ended is no receiver
 * any more, also before code 3 tells of it.
 */
int32_t shbfev_brd_send_message(shbfev_brd_t *brd, int32_t receiver, const void *bytes, int32_t length);
int32_t shbfev_brd_broadcast_message(shbfev_brd_t *brd, const void *bytes, int32_t length);

/*
 * Closes the channel: its path is removed, receivers see the end, no callback runs again. Not to be called
 * from a callback of the same channel. The handle stays valid (and costs one or two kilobytes) for threads
 * that still hold it: what they allocate is given back to the system when the last buffer is free, and what
 * they broadcast reaches nobody.
 */
void shbfev_brd_destroy(shbfev_brd_t *brd);

#ifdef __cplusplus
}
#endif

#endif
