/*
 * Where a tracked subject is going, handed to the process that drives the motor: one text in a mailbox in
 * System V shared memory (key 0x1122, 60 bytes). A text that comes while the last one still lies there is
 * dropped. There is no lock between the two processes: the writer sets `full` after the text, the reader
 * clears it when it has read.
 *
 *     01 00 00 00  00 ... 00 (24)  "[5,0,0]" 00 ...      a subject that goes to the right
 *
 * Once attached the mailbox stays so until the process ends, and each start of tracking attaches it again:
 * ending it would need track_shm_active, which nothing sets.
 */
#ifndef ANALYTICS_TRACK_MAILBOX_H
#define ANALYTICS_TRACK_MAILBOX_H

#include "core/relaxed.h"

#include <atomic>
#include <stddef.h>
#include <stdint.h>

/* Little-endian, like all that is shared. */
struct TrackMailbox {
    std::atomic<int32_t> full; // 1: a text waits; anything else: there is room
    uint8_t reserved[24];      // never touched
    char text[32];             // with its NUL
};

static_assert(sizeof(TrackMailbox) == 60);
static_assert(offsetof(TrackMailbox, text) == 28);

/* Where texts go; null before the first algo_shm_init, the error value of shmat when that has failed. Set on
 * the main and loop threads, used on the library's. */
extern std::atomic<TrackMailbox *> track_mailbox;

/* Whether there is something for algo_shm_fini to end. */
extern Relaxed<int32_t> track_shm_active;

/*
 * Makes the mailbox, where there is none yet, and attaches it. Main thread and loop thread. Result: 0, or -1
 * while track_shm_active. Ends the process with status 1 when the system has no segment. One that cannot be
 * attached passes for attached.
 */
int32_t algo_shm_init(void);

/* Result: -1 unless track_shm_active, and then nothing has happened. Main thread and loop thread. */
int32_t algo_shm_fini(void);

/*
 * A tracking result, as the library reports it: signature algo_track_callback_t. `record` points to `length`
 * bytes, at most 12, of a TrackDirection (libalgo_kit.h). Posts "[horizontal,0,0]", or "[0,vertical,0]" for a
 * subject that moves only up or down, and nothing for one that rests. The library's threads, one at a time.
 * Result: 0.
 */
int32_t track_result_cb(const void *record, int32_t length);

/* Puts a text of at most 31 characters into the mailbox, or drops it: when the last one still lies there, or
 * when no mailbox is attached. The library's threads, one at a time. */
void track_shm_post(const char *text);

#endif
