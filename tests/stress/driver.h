/*
 * The driver of channel_stress: starts broadcaster, witnesses and the hostile crowd, restarts the broadcaster
 * now and then, and looks in between whether everything is as it was.
 */
#ifndef STRESS_DRIVER_H
#define STRESS_DRIVER_H

#include "crowd.h"

namespace stress {

struct Plan {
    uint64_t seconds = 0; // 0: until the goals below are reached
    uint64_t kills = 0;
    uint64_t stops = 0;
    uint64_t rounds = 0;
    uint64_t seed = 1;
    uint32_t crowd = 10; // hostile receivers at one time
};

class Driver {
  public:
    Driver(Scoreboard *board, const Plan &plan);

    /* All of it. What is wrong stands on the scoreboard then. */
    void run();

    const Tally &tally() const { return tally_; }
    uint64_t broadcasters() const { return board_->generation; }
    uint64_t broadcasters_killed() const { return killed_; }
    uint64_t checks() const { return checks_; }
    uint64_t bytes_lost() const { return bytes_lost_; }

  private:
    bool reached() const;
    void start_broadcaster();
    void start_witnesses();
    void bout();
    void look_after_children();
    void check();
    bool await_empty(Channel channel, uint64_t receivers);
    pid_t start_on_quiet(void (*attack)(Hostile *));
    void end_on_quiet(pid_t victim, uint64_t *killed_ns, uint64_t *ended_ns);
    void measure_reclaim();
    void stall_beyond_limit();
    void restart_broadcaster(bool by_force);
    void end();

    Scoreboard *board_;
    Plan plan_;
    Random random_;
    Crowd crowd_;
    Tally tally_;
    uint64_t start_ns_ = 0;
    uint64_t killed_ = 0;
    uint64_t checks_ = 0;
    uint64_t bytes_lost_ = 0;
    pid_t broadcaster_ = 0;
    std::vector<pid_t> witnesses_;
};

} // namespace stress

#endif
