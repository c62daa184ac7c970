// Stand-ins for liboru_util: filter, lamp, and the day/night decision.

#include "liboru_util.h"

#include "script/script.h"

using script::answer;
using script::format;

extern "C" {

int32_t oru_api_ircut_switch(int32_t position) {
    return answer("oru_api_ircut_switch", std::to_string(position));
}

int32_t oru_api_light_enable(int32_t channel) {
    return answer("oru_api_light_enable", std::to_string(channel));
}

int32_t oru_api_light_disable(int32_t channel) {
    return answer("oru_api_light_disable", std::to_string(channel));
}

int32_t oru_api_light_brightness_set(int32_t channel, int32_t brightness) {
    return answer("oru_api_light_brightness_set", format("%d, %d", channel, brightness));
}

int32_t oru_api_reach_night(int32_t mode, int32_t reserved) {
    return answer("oru_api_reach_night", format("%d, %d", mode, reserved));
}

int32_t oru_api_reach_day(int32_t mode, int32_t *scratch, int32_t reserved) {
    *scratch = -1; // the library may
    return answer("oru_api_reach_day", format("%d, scratch, %d", mode, reserved));
}

} // extern "C"
