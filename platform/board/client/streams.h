/*
 * libboardav's side of the encoder channels: where get_video_stream takes its frames from.
 *
 * Life: streams_open, then streams_start when the board runs, or streams_close when it does not. There is no
 * end after a start: the threads that fetch may be anywhere when the board is shut down, so the channels stay
 * until the process ends, and the link (link.h) says that they bring nothing more.
 *
 * Threads: open, start and close on the thread that initialises the board, one after the other; then each
 * channel is fetched by one thread.
 */
#ifndef PLATFORM_BOARD_CLIENT_STREAMS_H
#define PLATFORM_BOARD_CLIENT_STREAMS_H

namespace board {

/* Attaches to both channels; what is open already stays. False when a channel is not there. */
bool streams_open();

/* Detaches; not when started. */
void streams_close();

/* From now on get_video_stream fetches. */
void streams_start();

/* True from streams_start on. */
bool streams_running();

} // namespace board

#endif
