/*
 * What boardd says about itself, for people and tests: one JSON object. The loop thread.
 */
#ifndef PLATFORM_BOARD_BOARDD_STATUS_H
#define PLATFORM_BOARD_BOARDD_STATUS_H

#include "board/boardd/board.h"
#include "board/boardd/requests.h"

#include <string>

namespace board {

/* docs/formats/board.md describes the members. */
std::string status_json(Board &board, const Audio &audio, const Analytics &analytics, int32_t flag_300,
                        const Refusals &refusals, const Notes &notes);

} // namespace board

#endif
