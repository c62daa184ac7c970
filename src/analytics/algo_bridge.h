/*
 * The analytics library in this process: starting and ending it, and where its findings go. Detections are
 * broadcast as text on "/run/md_event" and "/run/lsd_event"; directions in which a subject moves go to the
 * motor process (track_mailbox.h).
 */
#ifndef ANALYTICS_ALGO_BRIDGE_H
#define ANALYTICS_ALGO_BRIDGE_H

#include <stdint.h>

/*
 * Starts the library; with device_status.motion_detection_enable also tracking and its mailbox, each whether
 * or not the one before it has worked. Main thread, once. Result: 0, or the results ORed together, which is
 * logged. Ends the process when there is no memory for the mailbox.
 */
int32_t oru_algo_init(void);

/*
 * Ends the library, after which no callback runs, and the mailbox. Main thread, also when oru_algo_init was
 * never called. Result: as oru_algo_init; never 0, because the mailbox never ends (track_mailbox.h).
 */
int32_t oru_algo_finish(void);

/*
 * A detection, as the library reports it: signature algo_event_callback_t. "AbnormalSound", with anything
 * behind it, goes to "/run/lsd_event", every other text to "/run/md_event", each with its NUL. Nothing is
 * repeated or kept. The library's threads. Result: the broadcast's; the log call's when there was no text or
 * the broadcast failed.
 */
int32_t oru_algo_trigger_event_send(const char *text, int32_t length);

#endif
