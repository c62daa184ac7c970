/*
 * How many of the things that cross a stage the detector sees, and how often it sees what is none.
 */
#ifndef BENCH_MOTION_SCORE_H
#define BENCH_MOTION_SCORE_H

#include "bench/motion_stage.h"

#include <map>

namespace bench {

struct ActScore {
    int32_t acts = 0;
    int32_t told = 0; /* acts during which motion was told */
};

struct Score {
    std::map<Act, ActScore> of;
    std::vector<double> delays_s; /* from a thing's first pixel in the picture to motion, of those seen */
    double seconds = 0;           /* of pictures */
};

/* Plays one act on a stage that has been quiet, then quiet until all has settled. True when motion was told,
 * with its delay. */
bool play(Stage *stage, board::MotionDetector *detector, Act act, double length_s, double strength,
          const Thing &thing, double *delay_s);

/* A script of `rounds` of every act that is no event, and as many things, in turn, drawn from `seed`. */
Score run_script(uint32_t seed, int32_t rounds, const board::Sensitivity &sensitivity);

/* How long it takes from the picture in which a thing is there at once, in motion, to the telling; the
 * greatest time of `count`. -1 when one was not seen. */
double slowest_s(int32_t count);

/* The share of things of this kind that are seen, of `count`. */
double share_seen(const board::Sensitivity &sensitivity, const Thing &kind, int32_t count);

/* Seconds of noise alone, and how many pictures of it showed motion. */
int32_t false_alarms(uint32_t seed, double noise, double seconds);

} // namespace bench

#endif
