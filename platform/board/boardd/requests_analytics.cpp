// Requests of libalgo_kit, which has a connection of its own, and what becomes of the detectors' settings.

#include "board/boardd/requests.h"

#include <cerrno>
#include <cstring>

namespace board {

namespace {

bool is_switch(int32_t value) {
    return value == 0 || value == 1;
}

} // namespace

void Requests::algo_detect(const Call &call) {
    const int32_t value = call.header.value;
    if (is_switch(value)) {
        algo_.detecting = value == 1;
        set_analytics();
    }
    answer(call, is_switch(value) ? 0 : -EINVAL);
}

void Requests::algo_track(const Call &call) {
    const int32_t value = call.header.value;
    if (is_switch(value)) {
        algo_.tracking = value == 1;
        set_analytics();
    }
    answer(call, is_switch(value) ? 0 : -EINVAL);
}

void Requests::algo_param(const Call &call) {
    int32_t value = 0;
    std::memcpy(&value, call.payload.data(), sizeof value);
    const bool known = call.header.value == algo_param_sensitivity &&
                       (value == algo_sensitivity_normal || value == algo_sensitivity_lowest);
    if (known) {
        algo_.lowest = value == algo_sensitivity_lowest;
        set_analytics();
    }
    answer(call, known ? 0 : -EINVAL);
}

/* Some settings are libalgo_kit's, some the owner's of the board. */
void Requests::set_analytics() {
    const Notes &notes = picture_.notes();
    AnalyticsSettings settings;
    settings.detecting = algo_.detecting;
    settings.tracking = algo_.tracking;
    settings.motion = notes.motion;
    settings.sensitivity = Sensitivity::of(notes.motion_sense, algo_.lowest);
    settings.sound_threshold = notes.sound_threshold.value_or(sound_threshold_default);
    analytics_.set(settings);
}

} // namespace board
