/*
 * What this library asks the board, each time on a connection of its own: nothing is shared with libboardav,
 * a board that has been started anew is found again, and no other call waits behind one of these.
 *
 * Threads: any. A call blocks for no longer than control_timeout_ms; without a board it fails at once. Errors
 * are negative errno values.
 */
#ifndef PLATFORM_ORU_UTIL_BOARD_LIGHT_H
#define PLATFORM_ORU_UTIL_BOARD_LIGHT_H

#include "board/scene_protocol.h"

namespace oru {

/* 0, or why not. */
int32_t move_filter(int32_t position);
int32_t set_light(const board::LightRecord &record);

/* What the sensor sees; *seen is written only when the result is 0. */
int32_t see_light(board::LightSeenRecord *seen);

} // namespace oru

#endif
