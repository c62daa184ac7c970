/*
 * How well the board's echo canceller works, in virtual time: the engine is fed with two synthetic voices,
 * one that the speaker plays and one that speaks at the microphone. The same run with the canceller off is
 * the measure. Used by bench/echo and by the test that keeps the figures from getting worse.
 */
#ifndef BENCH_ECHO_MEASURE_H
#define BENCH_ECHO_MEASURE_H

#include "board/boardd/audio/echo_path.h"

#include <cstdint>
#include <vector>

namespace bench {

/* What goes in. */
struct Talk {
    uint32_t far_voice = 1;  /* through the speaker, from the start */
    uint32_t near_voice = 2; /* at the microphone, from near_from_s on */
    float near_level_db = 0; /* against the far voice as it leaves the speaker */
    bool near_speaks = false;
    uint32_t seconds = 12;
};

constexpr uint32_t near_from_s = 4;

/* What was said at the microphone and what was captured, sample by sample. */
struct Capture {
    std::vector<int16_t> said;
    std::vector<int16_t> captured;
};

Capture run_engine(const board::EchoSettings &room, const Talk &talk, bool cancelling);

/* How much weaker the echo became between two times, in seconds, in dB: echo return loss enhancement. */
double erle_db(const Capture &off, const Capture &on, uint32_t from_s, uint32_t to_s);

/* How like what was said what was captured is, from near_from_s on: the largest correlation over the
 * delays that the canceller may bring, none and a turn, give or take half a millisecond; 1 is the same but
 * for loudness and delay. */
double similarity(const Capture &capture);

/* How much louder what was captured is than what was said, from near_from_s on, in dB. */
double kept_db(const Capture &capture);

} // namespace bench

#endif
