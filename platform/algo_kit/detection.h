/*
 * Whether detection is wanted: the daemon pauses it while the camera is switched off.
 *
 * Kept apart from the detectors, because the daemon may say so before it starts them.
 *
 * Threads: any thread.
 */
#ifndef PLATFORM_ALGO_KIT_DETECTION_H
#define PLATFORM_ALGO_KIT_DETECTION_H

namespace algo_kit {

/* True from the start until oru_api_algo_stop, and again from oru_api_algo_start on. */
bool detection_wanted();

} // namespace algo_kit

#endif
