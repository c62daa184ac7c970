/*
 * The two threads that fetch encoded video from the board and publish it.
 *
 * A published message is a VideoFrameInfo (libboardav.h) and then the payload. The payload is copied once, by
 * the board library, straight into the shared buffer.
 */
#ifndef MEDIA_VIDEO_STREAM_H
#define MEDIA_VIDEO_STREAM_H

#include <pthread.h>
#include <stdint.h>

constexpr int32_t video_thread_count = 2;

/*
 * Starts the thread of channel 0 (main stream), then that of channel 1 (sub stream); their handles go to
 * `threads`. Main thread. Result: 0, or -1 when one could not be created; the first may run then.
 */
int32_t start_video_thread(pthread_t *threads);

/*
 * The body of a thread: `channel` points to the channel number, an int32_t that outlives it. Runs until
 * device_status.running is clear.
 */
void *video_stream_thread(void *channel);

#endif
