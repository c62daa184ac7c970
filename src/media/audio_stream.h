/*
 * The thread that fetches captured sound from the board and publishes it on channel 4.
 *
 * A published message is an AudioFrameInfo (libboardav.h) and then the payload, at most 1280 bytes, which the
 * board library copies straight into the shared buffer. Blocks are numbered from 1 without a gap: a receiver
 * that misses a number has missed a block.
 *
 * Unlike video, sound does not wait for an owner, and a block without content counts as a failure.
 */
#ifndef MEDIA_AUDIO_STREAM_H
#define MEDIA_AUDIO_STREAM_H

#include <pthread.h>
#include <stdint.h>

constexpr int32_t audio_thread_count = 2;

/*
 * Starts the thread that captures, then the one that plays (control/play_audio.h); their handles go to
 * `threads`. Main thread. Result: 0, or -1 when one could not be created; the first may run then.
 */
int32_t start_audio_thread(pthread_t *threads);

/* The body of the capturing thread; the argument is ignored. Runs until device_status.running is clear. */
void *fetch_aduio_thread(void *argument);

#endif
