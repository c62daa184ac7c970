/*
 * The one process-wide record of what the settings say.
 *
 * Filled at start-up (start_reading.h), kept current by the change handlers (change_handlers.h), read
 * everywhere.
 *
 * Threads: any thread reads; one thread at a time writes: the main thread at start-up, then the loop thread.
 * `running` is cleared by the signal handler, and by the main thread after a failed start. No locks: a worker
 * sees a change at its next look.
 */
#ifndef SETTINGS_DEVICE_STATUS_H
#define SETTINGS_DEVICE_STATUS_H

#include "core/relaxed.h"

#include <stdint.h>

struct DeviceStatus {
    Relaxed<int32_t> region_code{3};             // 0 "US", 1 "IN", 2 "HW", 3 any other
    Relaxed<int32_t> flicker_hz{50};             // mains frequency for anti-flicker
    Relaxed<uint8_t> running{1};                 // cleared once, to end every worker loop
    Relaxed<uint8_t> bind_status{0};             // 1: the camera has an owner; video streams only then
    Relaxed<uint8_t> power{1};                   // 0: switched off by the user
    Relaxed<uint8_t> watermark{1};               // time stamp in the picture
    Relaxed<uint8_t> flip{0};                    // picture upside down
    Relaxed<uint8_t> wdr{0};                     // wide dynamic range
    Relaxed<uint8_t> reload_boardav{0};          // 1 while a new encoder profile is applied: producers rest
    Relaxed<uint8_t> hdr_switch{0};              // high dynamic range
    Relaxed<uint8_t> motion_detection_enable{0}; // motion tracking
};

extern DeviceStatus device_status;

/* The number of the last signal handled, -1 before the first. Signal handler only. */
extern Relaxed<int32_t> last_signal;

#endif
