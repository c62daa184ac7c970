/*
 * Settings that are numbers.
 */
#ifndef SETTINGS_NUMBER_H
#define SETTINGS_NUMBER_H

#include <stdint.h>
#include <stdlib.h>

/*
 * The number at the beginning of a setting's text, 0 when there is none: what atoi gives, and defined also
 * for digits beyond a word, which anybody may store. Any thread.
 */
inline int32_t number_of(const char *text) {
    constexpr int decimal = 10;
    return static_cast<int32_t>(strtol(text, nullptr, decimal));
}

#endif
