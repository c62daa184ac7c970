/*
 * When it is night, and when day. Pure: what the sensor sees at each ask, and the time of it, go in. The rule
 * itself is told in liboru_util.h, where people look for it; the numbers stand here.
 *
 * One thread at a time.
 */
#ifndef PLATFORM_ORU_UTIL_DAY_NIGHT_RULE_H
#define PLATFORM_ORU_UTIL_DAY_NIGHT_RULE_H

#include "board/scene_protocol.h"

#include <stdint.h>

namespace oru {

constexpr uint32_t night_below_mlux = 2000; /* darker is night */
constexpr uint32_t day_above_mlux = 8000;   /* what must come on top of the lamp for day */
constexpr uint32_t night_asks = 4;          /* so many in a row must find it dark, ... */
constexpr uint32_t day_asks = 8;            /* ... and so many bright */
constexpr uint64_t dwell_us = 5'000'000;    /* least time between a switch and one by the light */
constexpr uint64_t settle_us = 1'000'000;   /* after a switch: until then the exposure finds its way */
constexpr uint64_t pause_us = 5'000'000;    /* who has not asked for so long begins anew */
constexpr uint32_t lamp_max_mlux = 100'000; /* brighter than that by itself no lamp makes a scene */

class DayNightRule {
  public:
    /* One ask at `now_us`, any clock that never goes back. Whoever asks for night takes it for day, and the
     * other way round; a filter that says otherwise shows a switch that failed in part. */
    bool reach_night(const board::LightSeenRecord &seen, uint64_t now_us);
    bool reach_day(const board::LightSeenRecord &seen, uint64_t now_us);

    /* The board could not be asked: what was counted counts no more. */
    void blind();

  private:
    void begin_ask(const board::LightSeenRecord &seen, uint64_t now_us);
    void learn_lamp(uint32_t seen_mlux);
    bool settled() const { return asked_us_ - switched_us_ >= settle_us; }
    bool may_switch() const { return asked_us_ - switched_us_ >= dwell_us; }

    bool asked_ = false; /* ever */
    uint64_t asked_us_ = 0;
    uint64_t switched_us_ = 0; /* when filter or lamp were first seen as they are */
    int32_t filter_ = 0;
    int32_t lamp_ = 0;
    uint32_t dark_asks_ = 0; /* in a row */
    uint32_t bright_asks_ = 0;
    bool lamp_known_ = false;
    uint32_t smooth_mlux_ = 0; /* what is seen, averaged over some asks */
    uint32_t lamp_mlux_ = 0;   /* the least of it since the filter moved or the lamp grew */
};

} // namespace oru

#endif
