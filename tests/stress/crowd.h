/*
 * The hostile receivers of channel_stress, from the driver's side: starts them, stops and continues some, and
 * kills them all at moments of its own choice.
 *
 * One thread: the driver's, which has no other.
 */
#ifndef STRESS_CROWD_H
#define STRESS_CROWD_H

#include "hostile.h"

#include <sys/types.h>
#include <vector>

namespace stress {

struct Tally {
    uint64_t rounds = 0; // hostile receivers
    uint64_t kills = 0;  // processes
    uint64_t stops = 0;
    uint64_t long_stops = 0; // beyond the time that a frame may be held
    uint64_t by_attack[attack_count] = {};
};

/* How many of all are stopped for a while before they are killed. */
struct Share {
    uint32_t stops;
    uint32_t of;
};

class Crowd {
  public:
    Crowd(Scoreboard *board, uint64_t seed, uint32_t size, Share share);

    /* What is due now: one is killed or stopped or continued, another takes its place. */
    void turn(Tally *tally);

    /* Kills and reaps all. */
    void disperse(Tally *tally);

  private:
    struct Victim {
        pid_t pid = 0; // and process group; 0: none
        uint32_t attack = 0;
        uint64_t next_ns = 0; // when it is to be stopped, continued or killed
        uint32_t stop_ms = 0; // 0: is not, or has been
        bool stopped = false;
        uint32_t remaining_us = 0; // after it has been continued
    };

    void start(Victim *victim, Tally *tally);
    void act(Victim *victim, Tally *tally);
    void kill_group(Victim *victim, Tally *tally);

    Scoreboard *board_;
    Random random_;
    Share share_;
    std::vector<Victim> victims_;
};

} // namespace stress

#endif
