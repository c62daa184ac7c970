/*
 * Region codes, as the setting "regioncode" spells them and the board's time stamp takes them.
 */
#ifndef SETTINGS_REGION_H
#define SETTINGS_REGION_H

#include <stdint.h>
#include <string.h>

/* Used for every region without a layout of its own, and when nothing is known. */
constexpr int32_t region_other = 3;

/* "US" 0, "IN" 1, "HW" 2, anything else region_other; case-sensitive. Any thread. */
inline int32_t region_code_of(const char *name) {
    constexpr const char *names[] = {"US", "IN", "HW"};
    for (int32_t code = 0; code < region_other; ++code) {
        if (strcmp(name, names[code]) == 0) {
            return code;
        }
    }
    return region_other;
}

#endif
