/*
 * What the software board says about itself (docs/formats/board.md), as far as people ask.
 */
#ifndef STRELLCTL_BOARD_STATUS_H
#define STRELLCTL_BOARD_STATUS_H

#include "strellctl/stream.h"

#include <array>
#include <cstdint>
#include <string>

namespace ctl {

struct BoardChannel {
    std::string encoding; // "H.265"; empty without a profile
    int64_t width = 0;
    int64_t height = 0;
    int64_t fps = 0;
    int64_t bitrate = 0; // target, bit/s
    int64_t lost = 0;    // frames that nobody took in time
    std::string fault;   // what it was told to do wrong, or empty
};

struct BoardStatus {
    std::string phase; // "idle", "starting", "running"
    std::string source;
    std::string source_error; // empty when it is good
    int64_t captured = 0;     // frames
    std::array<BoardChannel, streams.size()> channels;
    std::string json; // all of it, as it came
};

/* Asks boardd. Throws board::BoardCtlError when it is not there; members that it does not send stay as they
 * are. */
BoardStatus read_board_status();

/* The same from a text; throws board::BoardCtlError when it is no JSON object. */
BoardStatus parse_board_status(const std::string &json);

} // namespace ctl

#endif
