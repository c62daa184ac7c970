/*
 * Plans a panorama: the pan motor turns in steps, a photo is taken at each, and somebody stitches them. This
 * plans the steps only; whoever calls it moves the motor and takes the photos. No part of the daemon does.
 * examples/panorama.cpp does.
 *
 * The planner is driven by what the motor's process replies:
 *
 *     reply             gives              and the move
 *     motor_reset_OK    "step1"            start_direction, start_degree
 *     step1_OK          "step2"            circle_direction, circle_degree
 *     ...
 *     stepN_OK          "end"              none: photo N was the last
 *     ..._done          "intterupt_exit"   none; the plan is at its beginning again
 *
 * "end" leaves the plan where it is: only "done", or panoramic_interrupt, brings it back to step 1.
 *
 * Threads: one at a time.
 */
#ifndef ANALYTICS_PANORAMIC_H
#define ANALYTICS_PANORAMIC_H

#include <stdint.h>

constexpr int32_t panorama_type_count = 3;

/* Codes of the pan motor: one way and the other. */
constexpr int32_t motor_pan_one_way = 7;
constexpr int32_t motor_pan_other_way = 8;

struct PanoramaConfig {
    int32_t type; // its own index
    int32_t photo_num;
    int32_t start_direction;  // of the first move
    int32_t start_degree;     // degrees
    int32_t circle_direction; // of every later move
    int32_t circle_degree;    // degrees
    float overlap_ratio;      // of neighbouring photos; 0.33: a third
};

struct PanoramaPlan {
    int32_t type; // always 0: nothing selects another
    int32_t step; // from 1
};

extern PanoramaConfig panorama_configs[panorama_type_count];
extern PanoramaPlan panorama_plan;

/*
 * Logs a configuration and stores it as that of its type. It does not select the type. A type that there is
 * not is only logged.
 */
void panoramic_init(int32_t type, int32_t photo_num, int32_t start_degree, int32_t start_direction,
                    int32_t circle_degree, int32_t circle_direction, float overlap_ratio);

/* Back to the beginning. */
void panoramic_interrupt(void);

/*
 * The step behind `reply`, as in the table above: a text, from malloc, 64 bytes, the caller's to free; or
 * null for a reply that is none, and for want of memory, with everything as it was.
 *
 * A reply that contains "OK" is a confirmation, whatever else it contains; it has to contain the text of the
 * current step too ("step1" is also in "step12"). With `reverse` other than 0 the directions 7 and 8 are
 * exchanged, and any other is not written.
 *
 * `*direction` and `*degree` (of the move), `*more` (0 for the first step, 1 for every later one and for
 * "end") are written only where the table has something for them; `*more` stays as it was at "done".
 */
char *tavra_panoram_get_next_step(int32_t reverse, const char *reply, int32_t *direction, int32_t *degree,
                                  int32_t *more);

#endif
