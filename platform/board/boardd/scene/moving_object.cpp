#include "board/boardd/scene/moving_object.h"

namespace board {

namespace {

constexpr int64_t full_turn = 36000;
constexpr int32_t tilt_max = 6000;

bool within(int32_t value, int32_t least, int32_t most) {
    return value >= least && value <= most;
}

/* Not negative, other than %. */
int64_t modulo(int64_t value, int64_t divisor) {
    const int64_t rest = value % divisor;
    return rest < 0 ? rest + divisor : rest;
}

} // namespace

bool is_sound(const SceneObjectRecord &record) {
    const bool swings = record.path == path_swing;
    const int32_t speed_min = swings ? 0 : -object_speed_max;
    const bool span = swings ? within(record.span, 0, full_turn) : record.span == 0;
    return within(record.on, 0, 1) && within(record.path, path_swing, path_round) &&
           within(record.speed, speed_min, object_speed_max) &&
           within(record.size, object_size_min, object_size_max) &&
           within(record.pan, -full_turn / 2, full_turn / 2) && within(record.tilt, -tilt_max, tilt_max) &&
           span && record.reserved == 0;
}

int32_t object_pan(const SceneObjectRecord &record, uint64_t elapsed_us) {
    constexpr uint64_t us_per_ms = 1000;
    int64_t way = static_cast<int64_t>(elapsed_us / us_per_ms) * record.speed / 1000;
    if (record.path == path_swing) {
        const int64_t there_and_back = int64_t{2} * record.span;
        const int64_t at = record.span > 0 ? modulo(way, there_and_back) : 0;
        way = at <= record.span ? at : there_and_back - at;
    }
    return static_cast<int32_t>(modulo(record.pan + way + full_turn / 2, full_turn) - full_turn / 2);
}

} // namespace board
