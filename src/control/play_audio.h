/*
 * Sound from other processes, to the speaker.
 *
 * It arrives as messages on "/run/audio_play"; a thread of its own plays it, because playing takes as long as
 * the sound lasts. The first sound after a while switches speaker and echo cancellation on; 5 s after the
 * last one an alarm switches them off. While the motor runs, clients ban playback: sound then still arrives,
 * and is thrown away when its turn comes.
 */
#ifndef CONTROL_PLAY_AUDIO_H
#define CONTROL_PLAY_AUDIO_H

#include "core/relaxed.h"

#include <stdint.h>

/* 1 while playback is banned. Written on the loop thread, read by any thread. */
extern Relaxed<uint8_t> mortor_run;

/* 1 while speaker and echo cancellation are on. Playback thread, and the signal handler. */
extern Relaxed<uint8_t> aec_on;

/*
 * A message of channel 5: sound in the format of play_sound (libboardav.h), or exactly one of the words
 * "SOUND_BAN" and "SOUND_UNBAN", without a NUL. The bytes are copied. Loop thread; signature
 * shbfev_message_callback. Result: 0, or -1 when the camera is switched off or memory is short: nothing of
 * the message is played then.
 */
int32_t evt_rcvr_message_play(void *user, int32_t receiver, const void *bytes, int32_t length);

/* The body of the playback thread; the argument is ignored. Runs until it is woken with
 * device_status.running clear. */
void *play_audio(void *argument);

/* Switches speaker and echo cancellation off. SIGALRM's handler, on any thread; errno stays as it was. */
void aec_off_on_alarm(int signal_number);

#endif
