/*
 * A thread that publishes every uncompressed frame of the board on channel 2, for whoever wants all of them;
 * who wants one asks for one (media/requests.h). The daemon does not start it. examples/raw_stream.cpp does.
 *
 * A published message is 128 bytes, of which the first 40 are a RawFrameInfo (libboardav.h) and the others
 * are left as they are, and then the picture, at most 368640 bytes, which the board library copies straight
 * into the shared buffer. An answer to a request has 64 bytes in front of the picture.
 */
#ifndef MEDIA_RAW_STREAM_H
#define MEDIA_RAW_STREAM_H

#include <pthread.h>
#include <stdint.h>

/*
 * Starts the thread; its handle goes to `thread`. The thread detaches itself, so the handle is not to be
 * joined. Result: 0, or -1 when pthread_create gave a negative value; a positive one passes for success.
 */
int32_t start_rawsnap_thread(pthread_t *thread);

/*
 * The body of the thread; the argument is ignored. Whatever get_raw_frame answers is published, with the
 * length that it gave; the call sets the pace. Rests while a new encoder profile is being applied. Runs until
 * device_status.running is clear.
 */
void *rawsnap_thread(void *argument);

#endif
