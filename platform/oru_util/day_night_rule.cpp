#include "oru_util/day_night_rule.h"

namespace oru {

namespace {

constexpr uint32_t smoothing = 16; /* asks */
constexpr int32_t filter_in = 1;   /* as LightSeenRecord has it */
constexpr int32_t filter_out = 0;

uint32_t least(uint32_t one, uint32_t other) {
    return one < other ? one : other;
}

} // namespace

void DayNightRule::blind() {
    dark_asks_ = 0;
    bright_asks_ = 0;
}

/* What holds of an ask whatever is asked. */
void DayNightRule::begin_ask(const board::LightSeenRecord &seen, uint64_t now_us) {
    const bool switched = !asked_ || seen.filter != filter_ || seen.lamp != lamp_;
    if (switched || now_us - asked_us_ >= pause_us) {
        blind();
    }
    if (switched) {
        // A lamp that goes off or down leaves less light: what is known of it holds until less has been seen.
        lamp_known_ = lamp_known_ && seen.filter == filter_ && seen.lamp <= lamp_;
        switched_us_ = now_us;
        filter_ = seen.filter;
        lamp_ = seen.lamp;
    }
    asked_ = true;
    asked_us_ = now_us;
}

bool DayNightRule::reach_night(const board::LightSeenRecord &seen, uint64_t now_us) {
    begin_ask(seen, now_us);
    if (seen.filter == filter_out) {
        return settled(); // a switch that failed in part: another one puts it right, whatever the light
    }
    const bool dark = settled() && seen.seen_mlux < night_below_mlux;
    dark_asks_ = dark ? dark_asks_ + 1 : 0;
    return dark_asks_ >= night_asks && may_switch();
}

/* The darkest moment of the night shows what the lamp alone brings, with the infrared that the filter kept
 * out. Averaged, for noise has its dark moments too. */
void DayNightRule::learn_lamp(uint32_t seen_mlux) {
    seen_mlux = least(seen_mlux, 1U << 27); // room for the sum
    smooth_mlux_ = lamp_known_ ? (smooth_mlux_ * (smoothing - 1) + seen_mlux) / smoothing : seen_mlux;
    lamp_mlux_ = least(lamp_known_ ? least(lamp_mlux_, smooth_mlux_) : smooth_mlux_, lamp_max_mlux);
    lamp_known_ = true;
}

bool DayNightRule::reach_day(const board::LightSeenRecord &seen, uint64_t now_us) {
    begin_ask(seen, now_us);
    if (!settled()) {
        return false;
    }
    if (seen.filter == filter_in) {
        return true; // as above
    }
    learn_lamp(seen.seen_mlux);
    const bool bright = seen.seen_mlux > lamp_mlux_ + day_above_mlux;
    bright_asks_ = bright ? bright_asks_ + 1 : 0;
    return bright_asks_ >= day_asks && may_switch();
}

} // namespace oru
