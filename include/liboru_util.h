/*
 * liboru_util.so.0: the infrared-cut filter, the lights, the day/night decision, and an A-law encoder.
 *
 * Threads: any thread; a call may block for as long as the hardware takes to move. Not for signal handlers.
 */
#ifndef LIBORU_UTIL_H
#define LIBORU_UTIL_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Moves the infrared-cut filter: position 1 in front of the sensor (day), 0 out of the way (night).
 * Result: 0 on success.
 */
int32_t oru_api_ircut_switch(int32_t position);

/*
 * The light channels; the infrared lamp is channel 1. Brightness is 0 to 10000 and takes effect while the
 * channel is enabled, or when it is enabled next. Result: 0 on success.
 */
int32_t oru_api_light_enable(int32_t channel);
int32_t oru_api_light_disable(int32_t channel);
int32_t oru_api_light_brightness_set(int32_t channel, int32_t brightness);

/*
 * Has the scene become dark enough for night mode, or bright enough for day mode? `mode` is the daemon's
 * day/night mode (0 automatic, 1 day, 2 night); `reserved` is 0; `*scratch` may be written.
 *
 * The caller switches at the first answer other than 0, so averaging, a gap between the two thresholds, a
 * least time between switches and the allowance for the lamp's own light belong in here. Asked every 500 ms.
 */
int32_t oru_api_reach_night(int32_t mode, int32_t reserved);
int32_t oru_api_reach_day(int32_t mode, int32_t *scratch, int32_t reserved);

/*
 * Encodes 16-bit little-endian linear PCM as A-law (ITU-T G.711): one byte out for two bytes in. `reserved`
 * is 0, `bytes` the number of input bytes; an odd last byte is ignored. Result: the number of bytes written
 * to `out`.
 */
int32_t oru_g711a_encode(const void *pcm, int32_t reserved, int32_t bytes, void *out);

#ifdef __cplusplus
}
#endif

#endif
