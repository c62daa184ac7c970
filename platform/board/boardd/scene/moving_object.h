/*
 * Where the thing is that moves through the scene. Pure; times as in sky.h.
 */
#ifndef PLATFORM_BOARD_BOARDD_SCENE_MOVING_OBJECT_H
#define PLATFORM_BOARD_BOARDD_SCENE_MOVING_OBJECT_H

#include "board/scene_protocol.h"

namespace board {

/* Goes from side to side of a view that looks straight ahead. */
constexpr SceneObjectRecord object_default = {1, path_swing, 1500, 1200, -4500, -600, 9000, 0};

/* Whether the record is one that can be set. */
bool is_sound(const SceneObjectRecord &record);

/* The pan of its middle so long after it started, hundredths of a degree from -18000 to 17999. */
int32_t object_pan(const SceneObjectRecord &record, uint64_t elapsed_us);

} // namespace board

#endif
