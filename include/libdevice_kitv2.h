/*
 * libdevice_kitv2: what is known about the device, and the text form of its encoder profile.
 *
 * Threads: any thread. Not for signal handlers.
 */
#ifndef LIBDEVICE_KITV2_H
#define LIBDEVICE_KITV2_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Which sensor class is fitted: *flag_300 becomes non-zero for the 2304 x 1296 class and 0 for the 2560 x
 * 1440 class. Works before board_system_init; the answer does not change while the camera runs. May block for
 * as long as asking the sensor takes (development platform: at most 2 s).
 *
 * Result: 0, or negative when the sensor cannot be asked; *flag_300 is then unchanged.
 */
int32_t get_deviceType_by_sensor(int32_t *flag_300);

/* The eleven integers of an encoder profile. Index 0 is the main stream, 1 the sub stream. */
typedef struct HotConfigObject {
    int32_t id;
    int32_t icon;
    int32_t cch;
    int32_t fps[2];
    int32_t pt[2];
    int32_t bps[2]; /* index into the daemon's bitrate table */
    int32_t res[2]; /* index into the daemon's resolution table */
} HotConfigObject;

/*
 * Reads a profile from its JSON text (RFC 8259), such as
 *
 *     {"id":0,"icon":0,"cch":0,"pt":[1,1],"bps":[7,0],"fps":[15,15],"res":[4,2]}
 *
 * All seven members must be there, in any order: "id", "icon" and "cch" as 32-bit integers, the others as
 * arrays of exactly two of them. Members of other names are ignored. What the numbers mean is not judged
 * here.
 *
 * Result: 0; negative when the text is anything else (not JSON, something behind the object, a member
 * missing, a number with a fraction or out of range, null); *object is then unchanged.
 */
int32_t hot_config_str_to_object(const char *text, HotConfigObject *object);

#ifdef __cplusplus
}
#endif

#endif
