/*
 * Clients of the command socket (libav_cmd): send the daemon AV commands, read its acknowledgements.
 *
 *     int32_t fd = av_cmd_connect();
 *     av_cmd_ack_t ack;
 *     if (fd >= 0 && av_cmd_send(fd, 0x1009, NULL, 0) == 0 && av_cmd_read_ack(fd, &ack, 2000) == 1)
 *         ... ack.code is 0x100a, ack.result 0 when the overlay is on ...
 *     close(fd);
 *
 * Which commands there are, what they carry and which of them are acknowledged is in
 * docs/formats/av-commands.md.
 *
 * The daemon serves ten clients. An eleventh can connect and send, but nothing happens before one of the ten
 * leaves; so a client that only now and then has a command connects for each. The daemon forgets the
 * beginning of a command whose end has not come with it. These functions send each command in one piece;
 * whoever writes to the socket by other means has to do the same.
 *
 * The socket's name is abstract: it is in no directory, and STRELL_RUN_DIR does not move it. Of two systems
 * in one network namespace only the first has it, and all clients reach that one. Systems that shall not meet
 * run in network namespaces of their own (`unshare -rn`, or `ip netns exec`), their clients in the same ones.
 *
 * Threads: any; at one time one may send and another read on the same descriptor. Only av_cmd_read_ack waits.
 *
 * Errors are negative errno values.
 */
#ifndef LIBAV_CMD_CLIENT_H
#define LIBAV_CMD_CLIENT_H

#include "libav_cmd.h"

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The longest payload that the daemon takes: with its header it fills the daemon's receive buffer. */
#define AV_CMD_PAYLOAD_MAX 500

/* An acknowledgement as it came. */
typedef struct av_cmd_ack {
    uint32_t code;                 /* the command's code plus one */
    int32_t result;                /* of the command, 0 for success */
    uint32_t length;               /* bytes of data */
    uint8_t data[AV_CMD_DATA_MAX]; /* what the command asked for, little-endian; undefined beyond `length` */
} av_cmd_ack_t;

/*
 * Connects to the daemon. Result: the descriptor, to be closed by the caller; it does not survive exec.
 * -ECONNREFUSED: nobody serves the command socket in this network namespace. -EAGAIN: more clients wait for
 * a place than may; try again later.
 */
int32_t av_cmd_connect(void);

/*
 * Sends one command, with `length` bytes of payload (0 to AV_CMD_PAYLOAD_MAX; `payload` may be null when it
 * is 0). It is the daemon's as soon as it is sent: the caller may close `fd` at once when it expects no
 * acknowledgement.
 *
 * Result: 0; -EAGAIN, and nothing was sent, when the daemon does not read; -EMSGSIZE when it is too long;
 * -EPIPE when the daemon has ended or has dropped this client.
 */
int32_t av_cmd_send(int32_t fd, uint32_t code, const void *payload, uint32_t length);

/*
 * Waits up to `timeout_ms` (0: not at all, negative: for ever) for the next acknowledgement. They come in the
 * order of the commands; nothing but the code tells to which command one belongs.
 *
 * Result: 1 with *ack filled; 0 when the time is up; -EPIPE when the daemon has ended or has dropped this
 * client; -EPROTO when what came is no acknowledgement, or stopped in the middle of one (the connection is
 * then of no more use); -EINTR after a signal. *ack is undefined unless the result is 1.
 */
int32_t av_cmd_read_ack(int32_t fd, av_cmd_ack_t *ack, int32_t timeout_ms);

#ifdef __cplusplus
}
#endif

#endif
