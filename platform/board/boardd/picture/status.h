/*
 * The picture's part of the status (docs/formats/board.md). The loop thread.
 */
#ifndef PLATFORM_BOARD_BOARDD_PICTURE_STATUS_H
#define PLATFORM_BOARD_BOARDD_PICTURE_STATUS_H

#include "board/boardd/analytics/analytics.h"
#include "board/boardd/picture/controls.h"

#include <json-c/json.h>

namespace board {

/* Adds "picture", "detection" and "notes" to `root`. */
void add_picture_status(json_object *root, Board &board, const Analytics &analytics, const Notes &notes);

} // namespace board

#endif
