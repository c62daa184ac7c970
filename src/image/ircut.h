/*
 * Day and night: the infrared-cut filter, the infrared lamp and the image signal processor, switched
 * together.
 *
 * Three modes, the numbers of the setting "night_mode": automatic, in which a worker thread asks whether it
 * has become dark or bright enough; fixed day; fixed night. The worker begins each time with day mode, and
 * oru_ircut_init starts it in every mode: until the next ircut_mode_switch ends the worker, a camera that
 * starts in a fixed mode switches by itself.
 *
 * A switching sequence takes all its steps, also when one fails; its result is 0, or the results of the steps
 * ORed together.
 */
#ifndef IMAGE_IRCUT_H
#define IMAGE_IRCUT_H

#include "core/relaxed.h"

#include <pthread.h>
#include <stdint.h>

enum IrcutMode : int32_t {
    ircut_automatic = 0,
    ircut_day = 1,
    ircut_night = 2,
};

/*
 * The state of all this. The lock is held throughout by each of oru_ircut_init, oru_ircut_exit and
 * ircut_mode_switch, and never by the worker, which they may wait for.
 *
 * A worker is there to be joined when `joinable` is, as a rule while `running` is 1. After a second
 * oru_ircut_init whose creation of a worker gives a negative result `joinable` stays while `running` is 0:
 * the first worker ends, and nobody joins it.
 */
struct IrcutController {
    int32_t inited{0};              // under the lock
    Relaxed<int32_t> running{0};    // cleared to make the worker end
    Relaxed<int32_t> ircut_mode{0}; // an IrcutMode, or anything that was asked for before the start
    pthread_t thread{};             // the worker; under the lock
    bool joinable{false};           // `thread` was created, and not joined since; under the lock
    pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
    int32_t lamp_step{0}; // where step_infrared_pwm_duty stands, percent
};

extern IrcutController ircut_controller;

/*
 * The two sequences, with the lamp's duty: 0 for day, 100 for night. They are no mirror images: by day the
 * lamp goes off before the filter moves; by night the filter moves after 200 ms, and then the lamp comes on.
 * Any thread.
 */
int32_t set_ircut_day_mode(int32_t duty);
int32_t set_ircut_night_mode(int32_t duty);

/*
 * Changes the mode. Day and night end the worker (which takes up to a second, and longer in the middle of a
 * sequence) and are applied unless they are the mode already. Each call of the board takes 2 s at most, so
 * before one that hangs the loop may be held some 18 s: 2 s for what the worker asks, 8 s for the four calls
 * of its sequence, and 8 s for four of this one's own, besides the pauses. Automatic starts the worker,
 * unless it is the mode already. Before oru_ircut_init any number is stored, for oru_ircut_init to judge;
 * afterwards numbers that are no mode are ignored.
 *
 * Result: 0, or what the sequence or the creation of the worker gave. Loop thread.
 */
int32_t ircut_mode_switch(int32_t mode);

/*
 * Applies the stored mode and starts the worker. A second call applies nothing and starts a worker all the
 * same. Result: 0, or -1 when the mode is none, could not be applied, or the worker could not be created.
 * Main thread.
 */
int32_t oru_ircut_init(void);

/* Ends the worker and switches the lamp off; filter and picture stay as they are. Result: 0. Main thread. */
int32_t oru_ircut_exit(void);

/*
 * The body of the worker; the argument is ignored. Day mode first; then, while ircut_controller.running,
 * looks twice a second whether to switch. A sequence that fails is tried again at the next look. While the
 * camera is switched off it holds day mode and asks nobody.
 */
void *ircut_main_pthread(void *argument);

#endif
