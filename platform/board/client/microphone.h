/*
 * libboardav's side of the microphone: where get_audio_stream takes its blocks from.
 *
 * Threads: open and close on the thread that initialises the board; then one thread fetches. There is no end
 * after a start, as with the encoder channels (streams.h).
 */
#ifndef PLATFORM_BOARD_CLIENT_MICROPHONE_H
#define PLATFORM_BOARD_CLIENT_MICROPHONE_H

namespace board {

/* Attaches, unless that is done. False when the channel is not there. */
bool microphone_open();

/* Detaches; not when the board runs. */
void microphone_close();

} // namespace board

#endif
