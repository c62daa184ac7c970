/*
 * libalgo_kit: video and sound analytics.
 *
 * The library takes frames and audio from the board itself, detects motion, abnormal sound and the direction
 * in which a moving subject leaves the centre, and reports them through two callbacks.
 *
 * Threads: the calls are made on the main thread and the control loop thread, one at a time; they may wait
 * for the library's threads. The callbacks run on the library's own threads, which block all signals. After
 * oru_api_algo_deinit has returned no callback runs.
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

/* Starts the detectors. Result: 0, or non-zero when they could not be started. */
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

/* Starts and stops the tracking engine, independently of the detectors. Result: 0 on success. */
int32_t track_init(void);
int32_t track_deinit(void);

#ifdef __cplusplus
}
#endif

#endif
