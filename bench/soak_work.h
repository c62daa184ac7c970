/*
 * What is done to the daemon in a soak: commands, pictures, settings, receivers that come and go. Each
 * function does its kind so many times, one after the other, and returns when all are answered; failures
 * throw std::runtime_error.
 *
 * Threads: any, all of them at the same time.
 */
#ifndef BENCH_SOAK_WORK_H
#define BENCH_SOAK_WORK_H

namespace bench {

/* All commands that are acknowledged but "dnmode-set", which keeps a thread for 10 s each; a new connection
 * for every hundred. */
void send_commands(int count);

/* JPEGs, each of which is decoded. Result: to how many requests the camera answered that it had none. */
int take_jpegs(int count);

/* Raw frames: each waits for the camera's next capture. The result as above. */
int take_raw_frames(int count);

/* Settings that the board is told at once, in turn. */
void change_settings(int count);

/* Attaches to one channel after the other, takes a frame where there are frames without asking, detaches. */
void attach_and_detach(int count);

} // namespace bench

#endif
