/*
 * How a process that calls the board tells the benchmark of settings when it did so: a record for each call,
 * written whole to the pipe whose number is in the environment.
 */
#ifndef BENCH_BOARD_CALL_H
#define BENCH_BOARD_CALL_H

#include <stdint.h>

constexpr char board_call_fd_variable[] = "BENCH_BOARD_CALLS_FD";

struct BoardCall {
    uint64_t called_ns;   /* CLOCK_MONOTONIC, on entering set_video_Vflip or set_video_normal */
    uint64_t answered_ns; /* when the board had done it */
    int32_t flipped;      /* 1 for set_video_Vflip */
    int32_t result;       /* the board's */
};

#endif
