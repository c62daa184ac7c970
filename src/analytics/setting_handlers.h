/*
 * What happens when another process changes a setting that concerns detection, tracking, or day and night.
 *
 * None of these is read at the start but motion_detection_enable (settings/start_reading.h). A value that is
 * no number counts as 0 and is passed on; a key that was removed from the store changes nothing. While a new
 * encoder profile is applied, sensitivity and threshold are logged and lost.
 *
 * Threads: loop thread. All have the signature of a notification callback (libmortox.h); `user` is null.
 */
#ifndef ANALYTICS_SETTING_HANDLERS_H
#define ANALYTICS_SETTING_HANDLERS_H

#include "libmortox.h"

/* "motion_region": the board's sensitivity for the whole picture, a number. */
void notify_cb_motion_sensiti(xresponse_t *response, void *user);

/* "lsd_threshold": the level above which a sound is abnormal, a number. */
void notify_cb_lsd_threshold(xresponse_t *response, void *user);

/* "night_mode": 0 automatic, 1 day, 2 night (image/ircut.h, whose worker may have to be waited for). */
void anyka_notify_cb_ircut_switch(xresponse_t *response, void *user);

/*
 * "motion_detection_enable": "on" starts tracking with its mailbox, anything else ends it, each once. The
 * flag in device_status changes also when that fails, which ending the mailbox always does.
 */
void track_switch_cb(xresponse_t *response, void *user);

/* "algo_sensitivity": "lowest", or anything else for the normal one. */
void algo_sensitivity_cb(xresponse_t *response, void *user);

#endif
