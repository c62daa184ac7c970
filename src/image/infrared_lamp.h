/*
 * The infrared lamp, by its duty in percent: 0, 30, 50, 75 or 100.
 *
 * Threads: any thread. Results: 0, or the results of the library's calls ORed together; -1 for a duty that is
 * none of these.
 */
#ifndef IMAGE_INFRARED_LAMP_H
#define IMAGE_INFRARED_LAMP_H

#include <stdint.h>

/* 0 switches the lamp off; the others set its brightness and switch it on, also when the first fails. */
int32_t set_infrared_pwm_duty(int32_t duty);

/* One step up from ircut_controller.lamp_step; at 100 nothing happens. Not for two threads at a time. */
int32_t step_infrared_pwm_duty(void);

#endif
