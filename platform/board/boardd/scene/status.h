/*
 * The scene's part of the status (docs/formats/board.md). Any thread.
 */
#ifndef PLATFORM_BOARD_BOARDD_SCENE_STATUS_H
#define PLATFORM_BOARD_BOARDD_SCENE_STATUS_H

#include "board/boardd/scene/world.h"

#include <json-c/json.h>

namespace board {

/* Adds "light", "view" and "scene" to `root`. */
void add_scene_status(json_object *root, const World &world);

} // namespace board

#endif
