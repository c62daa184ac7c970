/*
 * A packet that carries a descriptor (SCM_RIGHTS), as a peer of any kind may send it.
 */
#ifndef TESTS_SUPPORT_PASSING_H
#define TESTS_SUPPORT_PASSING_H

#include <cstring>
#include <sys/socket.h>
#include <sys/uio.h>

namespace support {

/* Sends `bytes` as one packet, with `descriptor` unless that is negative. Result: as sendmsg. */
inline ssize_t send_passing(int fd, const void *bytes, size_t length, int descriptor) {
    iovec part = {const_cast<void *>(bytes), length};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    if (descriptor >= 0) {
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        cmsghdr *header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof(int));
        std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
    }
    return sendmsg(fd, &message, MSG_NOSIGNAL);
}

} // namespace support

#endif
