/*
 * Writing onto a stream whose reader trusts it to consist of whole records. Any thread; nothing blocks.
 */
#ifndef AV_CMD_STREAM_H
#define AV_CMD_STREAM_H

#include <stddef.h>
#include <stdint.h>

namespace av_cmd {

/*
 * Sends a header and `length` bytes behind it by one call, without waiting and without SIGPIPE. Result: 0, or
 * a negative errno value: -EAGAIN, and nothing was sent, when the other end has not read what came before;
 * -EPIPE when it has gone. Where the socket has taken only a part (it splits what is large for its buffer)
 * the stream is of no use to anybody any more: it is shut down both ways, which both ends see as its end, and
 * the result is -EPIPE too.
 */
int32_t send_whole(int fd, const void *header, size_t header_length, const void *bytes, size_t length);

} // namespace av_cmd

#endif
