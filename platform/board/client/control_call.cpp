#include "board/client/control_call.h"

#include "run_dir/run_dir.h"

#include <errno.h>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

namespace board {

namespace {

constexpr size_t request_max_bytes = sizeof(ControlRequest) + sizeof(PlayRecord); // the largest there is
constexpr size_t reply_max_bytes = 256;

/* Waits until the descriptor can be read: 0, -ETIMEDOUT or -EPIPE. */
int wait_readable(int fd, uint64_t deadline_us) {
    for (;;) {
        const uint64_t now_us = monotonic_us();
        const int left_ms = now_us >= deadline_us ? 0 : static_cast<int>((deadline_us - now_us + 999) / 1000);
        pollfd entry = {fd, POLLIN, 0};
        const int ready = poll(&entry, 1, left_ms);
        if (ready > 0) {
            return 0;
        }
        if (ready == 0) {
            return -ETIMEDOUT;
        }
        if (errno != EINTR) {
            return -EPIPE;
        }
    }
}

/* Receives one packet without waiting, and the file that comes with it; *file is -1 without one. */
ssize_t receive_packet(int fd, void *packet, size_t capacity, int *file) {
    iovec part = {packet, capacity};
    alignas(cmsghdr) uint8_t control[CMSG_SPACE(sizeof(int))];
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    *file = -1;
    const ssize_t length = recvmsg(fd, &message, MSG_DONTWAIT | MSG_TRUNC | MSG_CMSG_CLOEXEC);
    const cmsghdr *header = length >= 0 ? CMSG_FIRSTHDR(&message) : nullptr;
    if (header != nullptr && header->cmsg_level == SOL_SOCKET && header->cmsg_type == SCM_RIGHTS &&
        header->cmsg_len == CMSG_LEN(sizeof *file)) {
        memcpy(file, CMSG_DATA(header), sizeof *file);
    }
    return length;
}

/* Judges one packet: 1 when it is the reply, 0 when it belongs to an earlier call, or -EPROTO. */
int take_reply(const uint8_t *packet, size_t length, int file, uint32_t id, const ControlCall &call,
               int32_t *result) {
    ControlReply reply;
    if (length < sizeof reply) {
        return -EPROTO;
    }
    memcpy(&reply, packet, sizeof reply);
    if (reply.magic != control_magic) {
        return -EPROTO;
    }
    if (reply.id != id) {
        return 0;
    }
    const size_t expected = sizeof reply + (reply.result >= 0 ? call.reply_bytes : 0);
    const bool file_due = call.reply_file != nullptr && reply.result >= 0;
    if (reply.op != call.op || length != expected || (file_due && file < 0)) {
        return -EPROTO;
    }
    if (length > sizeof reply) {
        memcpy(call.reply, packet + sizeof reply, call.reply_bytes);
    }
    if (file_due) {
        *call.reply_file = file;
    }
    *result = reply.result;
    return 1;
}

} // namespace

uint64_t monotonic_us() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000U + static_cast<uint64_t>(now.tv_nsec) / 1000U;
}

int control_connect(uint64_t deadline_us) {
    sockaddr_un address;
    const int length = run_dir_address(control_path, &address);
    if (length < 0) {
        return length;
    }
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return -errno;
    }
    // The queue of a boardd that hangs may be full. This is how long connect waits then; 0 would be for ever.
    const uint64_t now_us = monotonic_us();
    const uint64_t left_us = deadline_us > now_us ? deadline_us - now_us : 1;
    const timeval patience = {static_cast<time_t>(left_us / 1000000U),
                              static_cast<suseconds_t>(left_us % 1000000U)};
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    if (connect(fd, reinterpret_cast<sockaddr *>(&address), static_cast<socklen_t>(length)) != 0) {
        const int error = errno;
        close(fd);
        return -error;
    }
    return fd;
}

int control_send(int fd, uint32_t id, const ControlCall &call) {
    uint8_t packet[request_max_bytes];
    const ControlRequest request = {control_magic, call.op, id, call.value};
    const size_t length = sizeof request + call.payload_bytes;
    if (length > sizeof packet) {
        return -EMSGSIZE;
    }
    memcpy(packet, &request, sizeof request);
    if (call.payload_bytes > 0) {
        memcpy(packet + sizeof request, call.payload, call.payload_bytes);
    }
    ssize_t sent = 0;
    do {
        // Not blocking: a boardd that does not read is as good as one that does not answer.
        sent = send(fd, packet, length, MSG_NOSIGNAL | MSG_DONTWAIT);
    } while (sent < 0 && errno == EINTR);
    if (sent >= 0) {
        return 0;
    }
    return errno == EAGAIN ? -ETIMEDOUT : -EPIPE;
}

int control_receive(int fd, uint32_t id, const ControlCall &call, uint64_t deadline_us, int32_t *result) {
    int status = 0;
    while (status == 0) {
        status = wait_readable(fd, deadline_us);
        if (status < 0) {
            return status;
        }
        uint8_t packet[reply_max_bytes];
        int file = -1;
        const ssize_t length = receive_packet(fd, packet, sizeof packet, &file);
        if (length < 0 && (errno == EINTR || errno == EAGAIN)) {
            continue;
        }
        if (length <= 0) {
            return -EPIPE;
        }
        status = static_cast<size_t>(length) > sizeof packet
                     ? -EPROTO
                     : take_reply(packet, static_cast<size_t>(length), file, id, call, result);
        const bool taken = status > 0 && call.reply_file != nullptr && *result >= 0;
        if (file >= 0 && !taken) {
            close(file);
        }
    }
    return status > 0 ? 0 : status;
}

int control_call(int fd, uint32_t id, const ControlCall &call, uint64_t deadline_us, int32_t *result) {
    const int status = control_send(fd, id, call);
    return status == 0 ? control_receive(fd, id, call, deadline_us, result) : status;
}

} // namespace board
