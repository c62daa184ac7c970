/*
 * The text of the time stamp in the picture. Pure functions of their arguments and the time zone; any thread.
 */
#ifndef PLATFORM_BOARD_BOARDD_PICTURE_TIMESTAMP_H
#define PLATFORM_BOARD_BOARDD_PICTURE_TIMESTAMP_H

#include <cstdint>
#include <ctime>
#include <string>

namespace board {

/*
 * Local time in the layout of a region:
 *
 *     0 US    11/21/2026 07:16:15
 *     1 IN    21/11/2026 07:16:15
 *     2 HW    2026-11-21 07:16:15
 *     others  2026/11/21 07:16:15
 */
std::string timestamp_text(int32_t region_code, std::time_t time);

/* What a board shows whose time stamp has not been updated yet: its own clock, and which frame this is. */
std::string frame_text(std::time_t time, uint32_t frame);

} // namespace board

#endif
