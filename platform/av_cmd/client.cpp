#include "av_cmd/stream.h"
#include "av_cmd/wire.h"
#include "export.h"

#include <errno.h>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

namespace av_cmd {

namespace {

constexpr char server_name[] = "vuto_IPCsock";

sockaddr_un server_address() {
    sockaddr_un address{};
    static_assert(sizeof address == 110, "the zeros behind the name are part of it");
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path + 1, server_name, strlen(server_name));
    return address;
}

int64_t now_ms() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

/* Until when to wait; negative: for ever. */
int64_t deadline_of(int32_t timeout_ms) {
    return timeout_ms < 0 ? -1 : now_ms() + timeout_ms;
}

/* Waits for bytes, or for the end. 1, 0 when the time is up, or a negative errno value. */
int32_t wait_readable(int fd, int64_t deadline_ms) {
    int timeout_ms = -1;
    if (deadline_ms >= 0) {
        const int64_t rest = deadline_ms - now_ms();
        timeout_ms = static_cast<int>(rest > 0 ? rest : 0);
    }
    pollfd entry = {fd, POLLIN, 0};
    const int count = poll(&entry, 1, timeout_ms);
    return count < 0 ? -errno : count;
}

/*
 * Takes exactly `length` bytes. Result: 1; 0 when the time was up before the first of them came; -EPROTO when
 * it was up in between; -EPIPE at the end of the stream; -EINTR only before the first.
 */
int32_t read_whole(int fd, void *bytes, size_t length, int64_t deadline_ms) {
    size_t at = 0;
    while (at < length) {
        const ssize_t count = recv(fd, static_cast<uint8_t *>(bytes) + at, length - at, MSG_DONTWAIT);
        if (count > 0) {
            at += static_cast<size_t>(count);
            continue;
        }
        if (count == 0 || errno == ECONNRESET) {
            return -EPIPE;
        }
        if (errno != EAGAIN) {
            return -errno;
        }
        const int32_t ready = wait_readable(fd, deadline_ms);
        if (ready <= 0 && !(ready == -EINTR && at > 0)) {
            return ready == 0 && at > 0 ? -EPROTO : ready;
        }
    }
    return 1;
}

/* What follows a good header: the data belongs to it, so that running out of time is an error here. */
int32_t read_data(int fd, av_cmd_ack_t *ack, int64_t deadline_ms) {
    int32_t result = 0;
    do {
        result = read_whole(fd, ack->data, ack->length, deadline_ms);
    } while (result == -EINTR);
    return result == 0 ? -EPROTO : result;
}

} // namespace

} // namespace av_cmd

PLATFORM_API int32_t av_cmd_connect(void) {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        return -errno;
    }
    const sockaddr_un address = av_cmd::server_address();
    if (connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        const int error = errno;
        close(fd);
        return -error;
    }
    return fd;
}

PLATFORM_API int32_t av_cmd_send(int32_t fd, uint32_t code, const void *payload, uint32_t length) {
    if (length > AV_CMD_PAYLOAD_MAX) {
        return -EMSGSIZE;
    }
    if (payload == nullptr && length > 0) {
        return -EINVAL;
    }
    const av_cmd::CommandHeader header = {av_cmd::command_magic, code, length};
    return av_cmd::send_whole(fd, &header, sizeof header, payload, length);
}

PLATFORM_API int32_t av_cmd_read_ack(int32_t fd, av_cmd_ack_t *ack, int32_t timeout_ms) {
    const int64_t deadline_ms = av_cmd::deadline_of(timeout_ms);
    av_cmd::AckHeader header;
    const int32_t result = av_cmd::read_whole(fd, &header, sizeof header, deadline_ms);
    if (result <= 0) {
        return result;
    }
    if (header.magic != av_cmd::ack_magic || header.length > AV_CMD_DATA_MAX) {
        return -EPROTO;
    }
    ack->code = header.code;
    ack->result = header.result;
    ack->length = header.length;
    return av_cmd::read_data(fd, ack, deadline_ms);
}
