/*
 * Has a process the descriptors and the memory that it had? Asked by the broadcaster of channel_stress about
 * itself, while only witnesses are attached.
 *
 * Threads: one.
 */
#ifndef STRESS_SELF_CHECK_H
#define STRESS_SELF_CHECK_H

#include "scoreboard.h"

namespace stress {

class SelfCheck {
  public:
    /* The channels are open, and nobody has attached. */
    void start();

    /*
     * To be called again and again until it is true: descriptors are what they should be. What is still too
     * many after a while is reported as a failure, and so is memory that has grown since the first check.
     */
    bool settled(Scoreboard *board);

  private:
    uint64_t descriptors_ = 0;
    uint64_t since_ns_ = 0;
    uint64_t checks_ = 0;
    uint64_t heap_kb_ = 0;
    uint64_t anonymous_kb_ = 0;
};

} // namespace stress

#endif
