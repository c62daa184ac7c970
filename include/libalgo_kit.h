/*
 * libalgo_kit: video and sound analytics.
 *
 * The library takes frames and audio from the board itself, detects motion, abnormal sound and the direction
 * in which a moving subject leaves the centre, and reports them through two callbacks.
 *
 * Threads: oru_api_algo_init and _deinit are called on the main thread; all others on the control loop
 * thread, and track_init on both. Calls on one thread come one after the other, but the two threads know
 * nothing of each other, and the control loop runs before the main thread comes to oru_api_algo_init. So the
 * library has its own lock, and _start, _stop, _set_param, track_init and track_deinit may come
 *   - before oru_api_algo_init: what they set holds when it comes;
 *   - while it runs;
 *   - after it has failed: then they are harmless, and tracking may work all the same.
 * The calls may wait for the library's threads.
 *
 * The callbacks run on the library's own threads, which block all signals, and from within oru_api_algo_init
 * on. After oru_api_algo_deinit has returned no callback runs.
 *
 * End: when a start-up fails, oru_api_algo_deinit comes last, after board_system_exit, also where
 * oru_api_algo_init never came: frames and audio have ended then. As a rule the process ends on a signal,
 * and then it does not come at all: board_system_exit and exit() follow each other while callbacks and
 * the library's threads are still running: nothing that they use may be torn down by destructors or atexit.
 */
#ifndef LIBALGO_KIT_H
#define LIBALGO_KIT_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * A detection: a NUL-terminated text of `length` bytes without the NUL, valid during the call. A text that
 * begins with "AbnormalSound" reports sound, every other one motion. The result is not used.
 */
typedef int32_t (*algo_event_callback_t)(const char *text, int32_t length);

/* Where a tracked subject is going, seen from the centre of the picture. Little-endian when stored or sent.
 */
typedef struct TrackDirection {
    int32_t horizontal; /* pan step, 0 for none; the sign gives the direction */
    int32_t vertical;   /* tilt step, 0 for none */
    int32_t reserved;
} TrackDirection;

/*
 * A tracking result: `record` points to a TrackDirection of which `length` bytes, at most 12, are valid.
 * Comes only while tracking is on (track_init). The result is not used.
 */
typedef int32_t (*algo_track_callback_t)(const void *record, int32_t length);

/* Starts the detectors. Called once at most. Result: 0, or non-zero when they could not be started; the
 * daemon then goes on without. */
int32_t oru_api_algo_init(algo_event_callback_t on_event, algo_track_callback_t on_track);

/* Stops them and waits until no callback runs any more. Result: 0, or non-zero when they were not running. */
int32_t oru_api_algo_deinit(void);

/* Resumes and pauses detection, as the camera is switched on and off. Repeating either is allowed. Result: 0.
 */
int32_t oru_api_algo_start(void);
int32_t oru_api_algo_stop(void);

/*
 * Sets one parameter from `length` bytes at `value`. The daemon sets parameter 0, the sensitivity, from a
 * 32-bit integer: 1 for the lowest, 0 for the normal one. Result: 0, or non-zero for a parameter or length it
 * does not know.
 */
int32_t oru_api_algo_set_param(int32_t parameter, const void *value, int32_t length);

/*
 * Starts and stops the tracking engine, independently of the detectors: also when oru_api_algo_init has
 * failed or is yet to come (whose on_track reports from then on). Repeating either is allowed, and happens at
 * the start when the setting changes in that moment. Result: 0 on success.
 */
int32_t track_init(void);
int32_t track_deinit(void);

#ifdef __cplusplus
}
#endif

#endif
