/*
 * What each AV command does. Framing and acknowledgements on the socket are the command library's
 * (libav_cmd.h); the meaning of most numbers is the board's (libboardav.h).
 *
 * Most commands are acknowledged with their code plus one and the board's result. The exceptions, all of them
 * what clients are used to: the speaker commands are never acknowledged, four others always with success,
 * 0x1029 does nothing, nor do 0x1003, 0x1031, 0x1033, 0x1035 (result 0) and 0x1037 (result -1), which are
 * never acknowledged either; and while the overlay commands change device_status, those for wide dynamic
 * range and for turning the picture leave it alone. A code that is no command goes to the board as it is.
 *
 * Threads: loop thread.
 */
#ifndef CONTROL_AV_DISPATCH_H
#define CONTROL_AV_DISPATCH_H

#include "libboardav.h"

#include <stdint.h>

/*
 * Runs one command for the client `fd`. `payload` is readable as av_cmd_parse has it. Result: that of the
 * acknowledgement when one is sent from here, else that of the command.
 */
int32_t av_cmd_dispatch(int32_t fd, const void *payload, uint32_t code);

/*
 * Hands a bit rate to the board when the six of its eight words that have a range are in it; a client chose
 * them. Result: the board's, or -1 when one is not, which is logged.
 */
int32_t control_enc_bitrate(const BitrateControl *record);

#endif
