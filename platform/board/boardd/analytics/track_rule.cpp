#include "board/boardd/analytics/track_rule.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace board {

namespace {

constexpr int32_t dead_part = 8; // of the picture's size, to each side of the middle

/* `twice_offset` is twice the distance from the middle, in pixels, of a picture `size` pixels wide. */
int32_t steps_of(int32_t twice_offset, int32_t size, int32_t span) {
    if (std::abs(twice_offset) * dead_part <= 2 * size) {
        return 0;
    }
    const double steps = static_cast<double>(twice_offset) * span / (2.0 * size * track_step);
    return std::clamp(static_cast<int32_t>(std::lround(steps)), -track_steps_max, track_steps_max);
}

} // namespace

std::optional<TrackDirection> TrackRule::step(const std::optional<Motion> &motion, uint64_t time_us) {
    if (!motion || (told_us_ && time_us < *told_us_ + track_again_us)) {
        return std::nullopt;
    }
    const TrackDirection direction = {
        steps_of(2 * motion->x + motion->width - raw_width, raw_width, view_field_horizontal),
        steps_of(2 * motion->y + motion->height - raw_height, raw_height, view_field_vertical), 0};
    if (direction.horizontal == 0 && direction.vertical == 0) {
        return std::nullopt;
    }
    told_us_ = time_us;
    return direction;
}

} // namespace board
