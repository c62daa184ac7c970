/* What quick_board.cpp is told by the environment. */
#ifndef BENCH_QUICK_BOARD_H
#define BENCH_QUICK_BOARD_H

/* Bytes of a frame, without its header. */
constexpr const char *quick_board_bytes_variable = "BENCH_QUICK_BOARD_BYTES";

#endif
