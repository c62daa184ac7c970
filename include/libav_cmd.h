/*
 * libav_cmd: framing of AV commands and their acknowledgements on the command socket.
 *
 * The library knows how commands look on the wire, the daemon knows what they do. Command codes lie in
 * 0x1001 to 0x1037; others travel the same way. An acknowledgement carries the command's code plus one.
 * docs/formats/av-commands.md has the bytes of the development platform. Clients use libav_cmd_client.h.
 *
 * Threads: any thread, one at a time per descriptor. Nothing blocks.
 */
#ifndef LIBAV_CMD_H
#define LIBAV_CMD_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The longest payload of a command and the longest data of an acknowledgement. */
#define AV_CMD_DATA_MAX 4096

/* Every payload that reaches a handler can be read this far: a shorter one is followed by zeros. */
#define AV_CMD_PAYLOAD_READABLE 64

/*
 * Runs one command: `fd` is the client to answer, `payload` the command's bytes, aligned for 32-bit words,
 * little-endian, valid during the call. The result is not used by the parser.
 */
typedef int32_t (*av_cmd_handler_t)(int32_t fd, const void *payload, uint32_t code);

/*
 * Calls `handler` for every complete command in `bytes`, in order. A command that is not complete stays
 * for the next call, together with the bytes that follow by then. Bytes that can never become a command are
 * counted as consumed and dropped.
 *
 * Result: the number of bytes consumed, 0 to `length`. A command too large for the caller's buffer (but
 * within AV_CMD_DATA_MAX) is never consumed, so the buffer fills and the caller notices.
 */
int32_t av_cmd_parse(int32_t fd, const void *bytes, int32_t length, av_cmd_handler_t handler);

/*
 * Writes one acknowledgement: the result of the command (0 for success) and, when `length` is not 0, data
 * that the command asked for, up to AV_CMD_DATA_MAX bytes. Never blocks and never raises SIGPIPE: a client
 * that has gone or does not read loses its acknowledgement. Should the socket take a part of it only, the
 * connection is shut down, so that the client does not take what comes next for the rest.
 *
 * Result: 0 when all of it was handed to the socket, negative otherwise.
 */
int32_t send_av_cmd_ack(int32_t fd, uint32_t code, int32_t result, const void *data, uint32_t length);

#ifdef __cplusplus
}
#endif

#endif
