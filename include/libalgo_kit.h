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
 * The calls may wait for the library's threads, and for the hardware: on the development platform at most 2 s
 * for each thing that has changed, and 4 s more where the library is not connected yet.
 *
 * The callbacks run on the library's own threads, one at a time, and from within oru_api_algo_init on. Those
 * threads block all signals but the ones of a fault of their own (SIGSEGV, SIGBUS, SIGFPE, SIGILL), which the
 * process handles like any other thread's. The callbacks do not call the library. After oru_api_algo_stop
 * has returned on_event does not run until oru_api_algo_start, after track_deinit on_track not until
 * track_init, and after oru_api_algo_deinit none at all. A callback that takes long delays the next one and
 * nothing else; detections that come meanwhile are kept, and lost when there are many.
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
 * A detection: a NUL-terminated text of `length` bytes without the NUL, valid during the call, at most 95
 * bytes of printable ASCII. A text that begins with "AbnormalSound" reports sound, every other one motion.
 * The result is not used.
 *
 * The texts (numbers are decimal):
 *   "Motion x=120 y=96 w=64 h=48 area=2100"
 *       Something moves: at the begin, and again while it goes on; of the largest motion the rectangle around
 *       it, and how many pixels of that it covers. In pixels of a raw frame, whose 640 x 384 span the whole
 *       picture as it is shown; x and y are the upper left corner.
 *   "MotionEnd"
 *       Nothing has moved for 2 s, or motion detection was switched off. Follows each begin once, unless
 *       detection was paused meanwhile.
 *   "AbnormalSound level=93 threshold=90"
 *       A sound is louder than the threshold (set_lsd_threshold, libboardav.h), and at least 10 dB louder
 * than what was heard before it: at its begin, and again while it goes on, until after some seconds it is
 *       what is always heard. The level is that of the mean power over 100 ms in decibels below full scale,
 *       plus 100.
 * A reader passes over texts, and numbers behind those given here, that it does not know.
 *
 * Rates: at most one "Motion" text a second and one "MotionEnd" for each two seconds, and one "AbnormalSound"
 * a second.
 *
 * After a change of the picture as a whole (the view turns, day and night, lamp, flip, exposure ...), and
 * after the start, motion is not told for a second.
 */
typedef int32_t (*algo_event_callback_t)(const char *text, int32_t length);

/*
 * Where a tracked subject is, seen from the centre of the picture: by so many steps, of half a degree each,
 * the camera has to turn to bring it there. At most 90 steps each way. Little-endian when stored or sent.
 */
typedef struct TrackDirection {
    int32_t horizontal; /* pan steps, 0 for none; positive: the subject is to the right of the centre */
    int32_t vertical;   /* tilt steps, 0 for none; positive: it is below the centre */
    int32_t reserved;   /* 0 */
} TrackDirection;

/*
 * A tracking result: `record` points to a TrackDirection of which `length` bytes, at most 12, are valid, and
 * which is not 0 both ways. Comes only while tracking is on (track_init), at most twice a second, not while
 * the subject is in the middle of the picture (a quarter of it each way), and not until the picture has been
 * at rest for a second after the view has turned. The result is not used.
 */
typedef int32_t (*algo_track_callback_t)(const void *record, int32_t length);

/* Starts the detectors. Called once at most. Result: 0, or non-zero when they could not be started (the board
 * is not there); the daemon then goes on without. Neither callback may be null. */
int32_t oru_api_algo_init(algo_event_callback_t on_event, algo_track_callback_t on_track);

/* Stops them and waits until no callback runs any more. Result: 0, or non-zero when they were not running. */
int32_t oru_api_algo_deinit(void);

/* Resumes and pauses detection, as the camera is switched on and off; tracking is another matter. Repeating
 * either is allowed. Result: 0. */
int32_t oru_api_algo_start(void);
int32_t oru_api_algo_stop(void);

/*
 * Sets one parameter from `length` bytes at `value`. The daemon sets parameter 0, the sensitivity, from a
 * 32-bit integer: 1 for the lowest, 0 for the normal one. With the lowest a motion has to be four times as
 * large as the regions' sensitivity (set_md_sense, libboardav.h) asks for. Result: 0, or non-zero for a
 * parameter, length or value it does not know.
 */
int32_t oru_api_algo_set_param(int32_t parameter, const void *value, int32_t length);

/*
 * Starts and stops the tracking engine, independently of the detectors: also when oru_api_algo_init has
 * failed or is yet to come (whose on_track reports from then on). Repeating either is allowed, and happens at
 * the start when the setting changes in that moment. Result: 0 on success; track_init fails when the board is
 * not there, and after oru_api_algo_deinit.
 */
int32_t track_init(void);
int32_t track_deinit(void);

#ifdef __cplusplus
}
#endif

#endif
