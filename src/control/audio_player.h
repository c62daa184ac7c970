/*
 * Plays a prompt: a sound file out of "/tmp", which goes as one item into the play queue. No part of the
 * daemon does so by itself. examples/prompt_sound.cpp does.
 */
#ifndef CONTROL_AUDIO_PLAYER_H
#define CONTROL_AUDIO_PLAYER_H

#include <stdint.h>

/*
 * Loads "/tmp/NAME", where NAME is `file_name` without its directories, and appends it to the play queue
 * (message_queue.h). The bytes are what play_sound takes (libboardav.h); nobody looks at them.
 *
 * Any thread. Each call that finds its file leaves a descriptor open for the life of the process, as ever.
 *
 * Result: that of message_queue_append, or of the log call when something went wrong; of no use to callers.
 */
int32_t audio_player(const char *file_name);

#endif
