#include "av_cmd/stream.h"

#include <errno.h>
#include <sys/socket.h>
#include <sys/uio.h>

namespace av_cmd {

int32_t send_whole(int fd, const void *header, size_t header_length, const void *bytes, size_t length) {
    iovec parts[] = {{const_cast<void *>(header), header_length}, {const_cast<void *>(bytes), length}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = length > 0 ? 2 : 1;
    const ssize_t sent = sendmsg(fd, &message, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent < 0) {
        return errno == ECONNRESET ? -EPIPE : -errno;
    }
    if (static_cast<size_t>(sent) < header_length + length) {
        shutdown(fd, SHUT_RDWR);
        return -EPIPE;
    }
    return 0;
}

} // namespace av_cmd
