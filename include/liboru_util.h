/*
 * liboru_util.so.0: the infrared-cut filter, the lights, the day/night decision, and an A-law encoder.
 *
 * Threads: any thread; a call may block for as long as the hardware takes to move, 2 s at most. Without a
 * board it fails at once. Not for signal handlers.
 */
#ifndef LIBORU_UTIL_H
#define LIBORU_UTIL_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Moves the infrared-cut filter: position 1 in front of the sensor (day), 0 out of the way (night).
 * Result: 0 on success, negative for another position and when the board does not do it.
 */
int32_t oru_api_ircut_switch(int32_t position);

/*
 * The light channels; the infrared lamp is channel 1. Brightness is 0 to 10000 and takes effect while the
 * channel is enabled, or when it is enabled next. Result: 0 on success, negative for a channel or brightness
 * that does not exist and when the board does not do it.
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
 * Result: 1 yes; 0 no, also when the board cannot be asked. Yes is repeated until the caller has switched or
 * the light has changed, also when the switch has failed in part (the rule below says how). In a fixed mode
 * the answer is the same as in the automatic one: whoever asks wants to know.
 *
 * The rule of the development platform. What counts is the light that the sensor sees, whatever its exposure
 * is:
 *   - Night is reached when 4 asks in a row (2 s) have found less than 2 lux.
 *   - Day is reached when 8 asks in a row (4 s) have found 8 lux more than the night's own light: the least
 *     that was seen, averaged over 16 asks, since the filter moved or the lamp was made brighter. That is
 *     what the lamp brings, and what the sensor sees of infrared without the filter; it is learnt from the
 *     first ask that finds the exposure settled. It never counts for more than 100 lux, so that a room lit up
 *     in that very second is not taken for the lamp for ever.
 *   - By the light nothing is reached within 5 s of a switch of filter or lamp, and what is seen in the first
 *     second after one is not looked at, for the exposure has to find its way. The first ask is taken for a
 *     switch.
 *   - Who asks for night while the filter is out of the way, or for day while it is in front of the sensor,
 *     has tried to switch and believes that it has failed: a step of it did, or was done too late to be heard
 *     of. Then the answer is yes 1 s after the last change of filter or lamp, whatever the light, until the
 *     switch has succeeded; if it is wrong for the light the other question finds that. It is the filter that
 *     counts, for the lamp can be switched by itself. When the filter is what has failed and the lamp was
 *     done, the light decides anew, after the 5 s.
 *   - Asks that failed, or a pause of 5 s between two, begin the row anew.
 * So light between both thresholds never switches anything, noise has to agree with itself for seconds, and
 * the lamp cannot be taken for the sun. What can still deceive it is something close that comes before the
 * lamp, and a light rich in infrared and poor in all else: each may cost one switch there and back, after
 * which it is part of the night's own light. It takes the place of what ONVIF's imaging service lets a user
 * set of an automatic filter (IrCutFilterAutoAdjustment: a boundary for each direction, and a response time).
 *
 * `*scratch` is left alone here, and may be null.
 */
int32_t oru_api_reach_night(int32_t mode, int32_t reserved);
int32_t oru_api_reach_day(int32_t mode, int32_t *scratch, int32_t reserved);

/*
 * Encodes 16-bit little-endian linear PCM as A-law (ITU-T G.711): one byte out for two bytes in. `reserved`
 * is 0, `bytes` the number of input bytes; an odd last byte is ignored. `pcm` need not be aligned. Result:
 * the number of bytes written to `out`; 0 without memory or with a negative length. Never blocks.
 */
int32_t oru_g711a_encode(const void *pcm, int32_t reserved, int32_t bytes, void *out);

#ifdef __cplusplus
}
#endif

#endif
