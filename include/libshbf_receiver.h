/*
 * Receivers of shared-buffer channels: a blocking interface (libshbf) and one on a libev loop (libshbfev).
 *
 * This is what a recorder, an app server or a home-automation bridge uses to get the camera's frames:
 *
 *     shbf_rcv_t *video = shbf_rcv_open("/run/video_mainstream", NULL);
 *     shbf_event_t event;
 *     while (shbf_rcv_next(video, &event, 1000) >= 0) {
 *         if (event.kind != SHBF_EVENT_FRAME)
 *             continue;
 *         ... event.frame.data, event.frame.size: the header and payload that the channel documents ...
 *         shbf_rcv_release(video, &event.frame);
 *     }
 *     shbf_rcv_close(video);
 *
 * Frames are mapped read-only; a write to one is a segmentation fault in the writer and nowhere else. A
 * receiver that holds frames for long, or does not fetch, is skipped (shbf_frame_t.skipped counts it) and
 * disturbs nobody else.
 *
 * The bytes of a frame do not change until it is released, or the broadcaster gives this receiver up. It does
 * that to a receiver that leaves a frame unreleased, fetched or not, for over SHBF_HOLD_LIMIT_MS while the
 * channel is short of memory, so that a process that hangs cannot stop the camera; the receiver may attach
 * again. A consumer that may be stopped or may stall for that long copies first and then asks
 * shbf_rcv_intact whether what it copied was still whole.
 *
 * Threads: a receiver belongs to one thread at a time, but for shbf_rcv_release, which any thread may call
 * at any time before shbf_rcv_close. A forked child must not use its parent's receivers.
 *
 * Errors are negative errno values, or null with errno set.
 */
#ifndef LIBSHBF_RECEIVER_H
#define LIBSHBF_RECEIVER_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct ev_loop;

typedef struct shbf_rcv shbf_rcv_t;     /* blocking interface */
typedef struct shbfev_rcv shbfev_rcv_t; /* libev interface */

/* How long a frame may be held in milliseconds while memory is short. */
#define SHBF_HOLD_LIMIT_MS 1000

/* How to attach. Null instead of a pointer means the defaults; zero in a field means its default. */
typedef struct shbf_rcv_options {
    /*
     * The most frames that may be on their way to this receiver or held by it at one time: 1 to 64, default
     * 32. A consumer that only wants the newest picture takes 1 and releases each frame before it asks for
     * the next.
     */
    uint32_t window;
    /* How long attaching may take in milliseconds, default 2000. */
    uint32_t attach_timeout_ms;
} shbf_rcv_options_t;

/* A frame held by this receiver. */
typedef struct shbf_frame {
    const void *data; /* the valid bytes, mapped read-only until the frame is released */
    uint32_t size;    /* how many */
    uint32_t number;  /* counts what the channel published, from 1; wraps */
    uint32_t skipped; /* frames and messages that this receiver has missed since it attached; wraps */
    uint32_t slot;    /* the library's own, for the release */
    uint32_t taking;  /* the library's own, for the release */
} shbf_frame_t;

#define SHBF_EVENT_FRAME 1   /* `frame` is set; the receiver holds it until shbf_rcv_release */
#define SHBF_EVENT_MESSAGE 2 /* `message` is set; valid until the next call on this receiver */

typedef struct shbf_event {
    int32_t kind;
    union {
        shbf_frame_t frame;
        struct {
            const void *bytes; /* the byte behind the last is 0 */
            uint32_t length;
        } message;
    };
} shbf_event_t;

/*
 * Attaches to the channel at `path` (under "/run/", see shbfev_brd_create).
 * Result: the receiver, or null with errno: ENOENT or ECONNREFUSED when nobody serves the path, ETIMEDOUT
 * when the broadcaster does not answer, EPROTO or EPROTONOSUPPORT when what answers is no broadcaster of this
 * kind; and where the camera's integrator has limited who may listen (docs/channel_access.md): EACCES when
 * this user may not attach, ENOSPC when the channel has all the receivers it takes, EUSERS when this user has
 * all that one user may have, EPERM when the channel is closed because its access file is damaged. Besides,
 * EINVAL or ENAMETOOLONG for a path that cannot be one, EPIPE when the broadcaster ends meanwhile, ENOBUFS,
 * ENOMEM, EMFILE or ENFILE when one of the two processes is short of memory or descriptors.
 * shbf_rcv_problem says each in words.
 */
shbf_rcv_t *shbf_rcv_open(const char *path, const shbf_rcv_options_t *options);

/*
 * What an error of any function here means and what to do about it: the end of a sentence that names the
 * channel, without a full stop. `error` is an errno value of either sign. A constant, or what strerror says.
 */
const char *shbf_rcv_problem(int32_t error);

/*
 * The descriptor to poll for reading. Readable: call shbf_rcv_next with timeout 0 until it returns 0, and
 * only then poll again: what has been fetched says nothing of what is left.
 */
int32_t shbf_rcv_fd(const shbf_rcv_t *receiver);

/*
 * Waits up to `timeout_ms` (0: not at all, negative: for ever) for the next frame or message.
 * Result: 1 with *event filled; 0 when the time is up; -EPIPE when the broadcaster closed the channel, died
 * or gave this receiver up; -EPROTO when what came is not to be trusted; -ENOMEM or -EMFILE when this process
 * could not map what came, after which the receiver is of no use; -EINTR after a signal. Frames that are held
 * can be read after every error; shbf_rcv_intact tells whether they are still what they were.
 */
int32_t shbf_rcv_next(shbf_rcv_t *receiver, shbf_event_t *event, int32_t timeout_ms);

/*
 * Are the frames that this receiver holds still its own? No system call. Result: 1: everything read from them
 * up to now was whole; 0: the broadcaster has given this receiver up, and may have used their memory again.
 */
int32_t shbf_rcv_intact(const shbf_rcv_t *receiver);

/*
 * Gives a frame back. One store to shared memory: no system call, no lock. Releasing a frame twice does
 * nothing the second time.
 */
void shbf_rcv_release(shbf_rcv_t *receiver, const shbf_frame_t *frame);

/*
 * Sends a plain message of up to SHBF_MESSAGE_MAX bytes to the broadcaster, such as "REQ_IDR".
 * Result: 0; -EAGAIN when the broadcaster does not fetch its messages; -EMSGSIZE; -EPIPE when it is gone.
 * 0 means sent, not accepted: a channel may take less (docs/channel_access.md). What is more often than it
 * takes is dropped; what is longer may end this receiver.
 */
int32_t shbf_rcv_send(shbf_rcv_t *receiver, const void *bytes, uint32_t length);

/* Detaches. All frames that are still held become invalid. Null is allowed. */
void shbf_rcv_close(shbf_rcv_t *receiver);

/* What a channel says about itself. */
typedef struct shbf_channel_info {
    uint32_t receivers;   /* attached now */
    uint32_t published;   /* buffers broadcast, or sent to some, since the channel was made; wraps */
    uint32_t skipped;     /* frames and messages not delivered to a slow receiver, over all; wraps */
    uint32_t arena_bytes; /* 0 until the first buffer was allocated */
    uint32_t arena_used;  /* bytes not free at this moment */
    uint32_t buffers;     /* buffers not free at this moment */
    int32_t pid;          /* the broadcaster's process */
} shbf_channel_info_t;

/*
 * Asks the broadcaster of `path` about the channel, without becoming a receiver. Waits up to `timeout_ms`
 * for the answer. Result: 0 or a negative errno value as shbf_rcv_open has them; -EINTR after a signal.
 */
int32_t shbf_channel_query(const char *path, shbf_channel_info_t *info, int32_t timeout_ms);

/* Most users, and most groups, that a channel's policy names; most receivers of a channel. */
#define SHBF_ACCESS_NAMES_MAX 16
#define SHBF_RECEIVERS_MAX 32

/* A receiver, as its broadcaster's kernel knows it. */
typedef struct shbf_attached {
    int32_t receiver; /* its id in the channel */
    int32_t pid;      /* of the process that connected; 0 when it is in a pid namespace out of sight */
    uint32_t uid;     /* its user then */
} shbf_attached_t;

/* Who may listen to a channel, and who does (docs/channel_access.md). */
typedef struct shbf_access {
    uint32_t mode; /* permission bits and group of its socket */
    uint32_t group;
    uint32_t user_count; /* both 0: everybody who can open the socket */
    uint32_t group_count;
    uint32_t users[SHBF_ACCESS_NAMES_MAX];
    uint32_t groups[SHBF_ACCESS_NAMES_MAX];
    uint32_t receivers; /* the limits, as the access file has them */
    uint32_t receivers_per_user;
    uint32_t message_bytes;
    uint32_t messages_per_second; /* 0: none */
    uint32_t handshake_ms;
    uint32_t attached_count;
    shbf_attached_t attached[SHBF_RECEIVERS_MAX];
} shbf_access_t;

/*
 * Asks the broadcaster of `path` who may listen and who does; as shbf_channel_query otherwise. It answers
 * those who may attach. -EPROTONOSUPPORT from one that does not know the question.
 */
int32_t shbf_channel_access(const char *path, shbf_access_t *access, int32_t timeout_ms);

/* ---- on a libev loop (libshbfev) ---- */

/* All run on the loop's thread. Any may be null. shbfev_rcv_close may be called from inside them. */
typedef struct shbfev_rcv_callbacks {
    /* Attached: frames come from now on. */
    void (*attached)(void *user, shbfev_rcv_t *receiver);
    /* A frame came; hold it as long as needed, then shbfev_rcv_release. */
    void (*frame)(void *user, shbfev_rcv_t *receiver, const shbf_frame_t *frame);
    /* A message came; `bytes` is valid during the callback. */
    void (*message)(void *user, shbfev_rcv_t *receiver, const void *bytes, uint32_t length);
    /* The channel is gone, or could not be attached to (a negative errno value). Called once; nothing comes
     * after it, and the receiver waits to be closed. */
    void (*closed)(void *user, shbfev_rcv_t *receiver, int32_t reason);
} shbfev_rcv_callbacks_t;

/*
 * Begins to attach; never blocks. The answer is `attached` or `closed`. `callbacks` is copied.
 * Result: the receiver, or null with errno set (nothing is called then); ETIMEDOUT while more wait to be let
 * in than fit the broadcaster's backlog: to be tried again.
 */
shbfev_rcv_t *shbfev_rcv_open(struct ev_loop *loop, const char *path, const shbf_rcv_options_t *options,
                              const shbfev_rcv_callbacks_t *callbacks, void *user);

/* As their namesakes above. */
int32_t shbfev_rcv_intact(const shbfev_rcv_t *receiver);
void shbfev_rcv_release(shbfev_rcv_t *receiver, const shbf_frame_t *frame);
int32_t shbfev_rcv_send(shbfev_rcv_t *receiver, const void *bytes, uint32_t length);
void shbfev_rcv_close(shbfev_rcv_t *receiver);

#ifdef __cplusplus
}
#endif

#endif
