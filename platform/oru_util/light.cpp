// Filter, lights, and whether it is time to switch. The rule is one for the whole process, as there is one
// sensor; its lock is not held while the board is asked.

#include "board/client/control_call.h"
#include "export.h"
#include "liboru_util.h"
#include "oru_util/board_light.h"
#include "oru_util/day_night_rule.h"

#include <pthread.h>

using namespace oru;

namespace {

pthread_mutex_t rule_mutex = PTHREAD_MUTEX_INITIALIZER;
DayNightRule rule; /* under the lock */

using Question = bool (DayNightRule::*)(const board::LightSeenRecord &seen, uint64_t now_us);

int32_t ask_rule(Question question) {
    board::LightSeenRecord seen;
    const int32_t status = see_light(&seen);
    pthread_mutex_lock(&rule_mutex);
    bool yes = false;
    if (status < 0) {
        rule.blind();
    } else {
        yes = (rule.*question)(seen, board::monotonic_us()); // under the lock: time never goes back
    }
    pthread_mutex_unlock(&rule_mutex);
    return yes ? 1 : 0;
}

int32_t set_channel(int32_t channel, int32_t enabled, int32_t brightness) {
    if (channel != board::light_channel_lamp) {
        return -1;
    }
    return set_light({channel, enabled, brightness}) < 0 ? -1 : 0;
}

} // namespace

PLATFORM_API int32_t oru_api_ircut_switch(int32_t position) {
    if (position != 0 && position != 1) {
        return -1;
    }
    return move_filter(position) < 0 ? -1 : 0;
}

PLATFORM_API int32_t oru_api_light_enable(int32_t channel) {
    return set_channel(channel, 1, board::light_unchanged);
}

PLATFORM_API int32_t oru_api_light_disable(int32_t channel) {
    return set_channel(channel, 0, board::light_unchanged);
}

PLATFORM_API int32_t oru_api_light_brightness_set(int32_t channel, int32_t brightness) {
    if (brightness < 0 || brightness > board::light_brightness_max) {
        return -1;
    }
    return set_channel(channel, board::light_unchanged, brightness);
}

PLATFORM_API int32_t oru_api_reach_night(int32_t /*mode*/, int32_t /*reserved*/) {
    return ask_rule(&DayNightRule::reach_night);
}

PLATFORM_API int32_t oru_api_reach_day(int32_t /*mode*/, int32_t * /*scratch*/, int32_t /*reserved*/) {
    return ask_rule(&DayNightRule::reach_day);
}
