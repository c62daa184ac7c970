#include "shbf/packet.h"

#include "shbf/wire.h"

#include <errno.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

namespace shbf {

namespace {

/* Room for two: a peer that sends more than the one it may is found out, and nothing leaks. */
constexpr size_t passed_max = 2;

int send_parts(int fd, iovec *parts, size_t count, int passed) {
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))];
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = count;
    if (passed >= 0) {
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        cmsghdr *header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof(int));
        memcpy(CMSG_DATA(header), &passed, sizeof passed);
    }
    while (sendmsg(fd, &message, MSG_DONTWAIT | MSG_NOSIGNAL) < 0) {
        if (errno != EINTR) {
            const bool full = errno == EAGAIN || errno == ENOBUFS || errno == ENOMEM || errno == ETOOMANYREFS;
            return full ? -EAGAIN : -errno;
        }
    }
    return 0;
}

/* Takes the first descriptor out of the control data, closes what else is there. */
int take_descriptor(msghdr *message) {
    int result = -1;
    for (cmsghdr *header = CMSG_FIRSTHDR(message); header != nullptr; header = CMSG_NXTHDR(message, header)) {
        if (header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_RIGHTS) {
            continue;
        }
        const size_t count = (header->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (size_t i = 0; i < count; ++i) {
            int fd;
            memcpy(&fd, CMSG_DATA(header) + i * sizeof fd, sizeof fd);
            if (result < 0) {
                result = fd;
            } else {
                close(fd);
            }
        }
    }
    return result;
}

} // namespace

int packet_send(int fd, const void *packet, size_t length, int passed) {
    iovec part = {const_cast<void *>(packet), length};
    return send_parts(fd, &part, 1, passed);
}

int packet_send_message(int fd, const void *bytes, uint32_t length, uint32_t frames) {
    Message record = {Kind::message, length, frames};
    iovec parts[] = {{&record, sizeof record}, {const_cast<void *>(bytes), length}};
    return send_parts(fd, parts, 2, -1);
}

int packet_receive(int fd, void *packet, size_t capacity, int *passed, bool wait) {
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int) * passed_max)];
    iovec part = {packet, capacity};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    if (passed != nullptr) {
        *passed = -1;
        message.msg_control = control;
        message.msg_controllen = sizeof control;
    }
    const ssize_t length = recvmsg(fd, &message, MSG_CMSG_CLOEXEC | (wait ? 0 : MSG_DONTWAIT));
    if (length < 0) {
        return -errno;
    }
    if (passed != nullptr) {
        *passed = take_descriptor(&message);
    }
    if ((message.msg_flags & MSG_TRUNC) != 0) {
        if (passed != nullptr && *passed >= 0) {
            close(*passed);
            *passed = -1;
        }
        return -EMSGSIZE;
    }
    // The kernel drops the one that finds no place in this process.
    const bool dropped = passed != nullptr && *passed < 0 && (message.msg_flags & MSG_CTRUNC) != 0;
    return dropped ? -EMFILE : static_cast<int>(length);
}

int packet_receive_answer(int fd, void *packet, size_t capacity) {
    int length = packet_receive(fd, packet, capacity, nullptr, false);
    if (length == -ECONNRESET) {
        length = packet_receive(fd, packet, capacity, nullptr, false);
    }
    return length == 0 || length == -ECONNRESET ? -EPIPE : length;
}

} // namespace shbf
