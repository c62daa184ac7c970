/*
 * boardd's command line.
 */
#ifndef PLATFORM_BOARD_BOARDD_OPTIONS_H
#define PLATFORM_BOARD_BOARDD_OPTIONS_H

#include "board/boardd/audio/audio.h"
#include "board/boardd/scene/sky.h"

#include <cstdint>
#include <string>

namespace board {

struct Options {
    std::string source;   /* empty: the test scene */
    int32_t flag_300 = 0; /* sensor class: 1 is the 2304x1296 class, 0 the 2560x1440 class */
    uint32_t light_mlux = sky_default_mlux;
    AudioSettings audio;
    int exit_code = -1; /* 0 or more: everything has been said, end with this status */
};

/* Reads the arguments; prints the help, or what is wrong with them. */
Options read_options(int argc, char **argv);

} // namespace board

#endif
