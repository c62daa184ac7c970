/*
 * A board for a program that is not the daemon: started with small pictures, which nobody fetches.
 */
#ifndef EXAMPLES_BOARD_H
#define EXAMPLES_BOARD_H

#include "libboardav.h"

#include <cstdio>

/* Result: whether it runs; if not, what to do was said. board_system_exit ends it. */
inline bool start_board() {
    constexpr VencChannel small = {0, 0, 256000, 15, 640, 360};
    constexpr VencConfig profile = {1, {}, 1, {small, small}};
    if (control_venc_dynamically(&profile) < 0 || board_system_init(1) < 0) {
        std::fprintf(stderr, "no board: start boardd, and set STRELL_RUN_DIR to where it runs; one that "
                             "strell_v2 uses will not do\n");
        return false;
    }
    return true;
}

#endif
