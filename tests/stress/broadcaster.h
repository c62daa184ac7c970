/*
 * The broadcaster of channel_stress: a process with all channels on one libev loop, and their producers.
 */
#ifndef STRESS_BROADCASTER_H
#define STRESS_BROADCASTER_H

#include "scoreboard.h"

namespace stress {

/*
 * Serves until Scoreboard::end_generation says otherwise, then destroys the channels while the producers are
 * still at it. In a process of its own. Result: its exit status.
 */
int run_broadcaster(Scoreboard *board, uint64_t generation, uint64_t seed);

} // namespace stress

#endif
