// The socket of a handle. It is blocking as far as connect goes, since that is the only way to wait for a
// store whose queue of new connections is full; everything else is done with MSG_DONTWAIT, and waits in
// poll().

#include "mortox/connection.h"

#include "export.h"
#include "run_dir/run_dir.h"

#include <errno.h>
#include <poll.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

namespace {

int connect_until(int fd, const sockaddr_un &address, socklen_t address_bytes, int64_t deadline_ms) {
    for (;;) {
        if (deadline_ms != 0) {
            const int64_t left_ms = deadline_ms - mortox_internal_now_ms();
            if (left_ms <= 0) {
                return -ETIMEDOUT;
            }
            timeval left{};
            left.tv_sec = static_cast<time_t>(left_ms / 1000);
            left.tv_usec = static_cast<suseconds_t>(left_ms % 1000 * 1000);
            setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &left, sizeof left);
        }
        if (connect(fd, reinterpret_cast<const sockaddr *>(&address), address_bytes) == 0) {
            return 0;
        }
        if (errno != EINTR) {
            return errno == EAGAIN ? -ETIMEDOUT : -errno;
        }
    }
}

void close_fd(mortox_t *handle) {
    if (handle->fd >= 0) {
        close(handle->fd);
    }
    handle->fd = -1;
    handle->ready = false;
}

// One more, since the clock is read in whole milliseconds: the deadline has passed when poll ends.
int poll_ms(int64_t left_ms) {
    if (left_ms < 0) {
        return 0;
    }
    return left_ms < INT32_MAX ? static_cast<int>(left_ms + 1) : INT32_MAX;
}

// Waits until the descriptor is ready or broken: 0, -ETIMEDOUT or -errno.
int await(int fd, short events, int64_t deadline_ms) {
    for (;;) {
        const int64_t left_ms = deadline_ms - mortox_internal_now_ms();
        pollfd descriptor = {fd, events, 0};
        const int count = poll(&descriptor, 1, poll_ms(left_ms));
        if (count > 0) {
            return 0;
        }
        if (count == 0) {
            return -ETIMEDOUT;
        }
        if (errno != EINTR) {
            return -errno;
        }
    }
}

uint32_t next_request(mortox_t *handle) {
    ++handle->last_request;
    if (handle->last_request == 0) {
        ++handle->last_request; // 0 is no request
    }
    return handle->last_request;
}

} // namespace

int await_writable(mortox_t *handle, int64_t deadline_ms) {
    return await(handle->fd, POLLOUT, deadline_ms);
}

int await_message(mortox_t *handle, int64_t deadline_ms, wire::Message *message) {
    for (;;) {
        // Also when there is always more to read, the deadline counts.
        if (mortox_internal_now_ms() > deadline_ms) {
            set_error(handle, "the settings store did not answer in time");
            return -ETIMEDOUT;
        }
        const int received = mortox_internal_receive(handle, message);
        if (received != 0) {
            return received > 0 ? 0 : -ECONNRESET;
        }
        const int result = await(handle->fd, POLLIN, deadline_ms);
        if (result != 0 && result != -ETIMEDOUT) {
            set_error(handle, "cannot wait for the settings store: %s", strerror(-result));
            return result;
        }
    }
}

void set_error(mortox_t *handle, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(handle->error, sizeof handle->error, format, arguments);
    va_end(arguments);
}

PLATFORM_API mortox_t *mortox_internal_new(const MortoxHooks *hooks, void *owner) {
    auto *handle = static_cast<mortox_t *>(calloc(1, sizeof(mortox_t)));
    if (handle != nullptr) {
        handle->hooks = hooks;
        handle->owner = owner;
        handle->fd = -1;
        set_error(handle, "nothing has failed");
    }
    return handle;
}

PLATFORM_API int64_t mortox_internal_now_ms(void) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

PLATFORM_API int mortox_internal_connect(mortox_t *handle, int64_t deadline_ms) {
    sockaddr_un address;
    const int address_bytes = run_dir_address(wire::socket_path, &address);
    if (address_bytes < 0) {
        return address_bytes;
    }
    const int wait_flag = deadline_ms == 0 ? SOCK_NONBLOCK : 0;
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | wait_flag, 0);
    if (fd < 0) {
        return -errno;
    }
    const int result = connect_until(fd, address, static_cast<socklen_t>(address_bytes), deadline_ms);
    if (result != 0) {
        close(fd);
        return result;
    }
    handle->fd = fd;
    return 0;
}

PLATFORM_API int mortox_internal_greet(mortox_t *handle, int64_t deadline_ms) {
    wire::Message hello{};
    hello.type = wire::Type::hello;
    wire::Message answer{};
    uint32_t number = 0;
    int result = mortox_internal_send(handle, &hello, &number);
    while (result == 0 && answer.request != number) {
        result = await_message(handle, deadline_ms, &answer);
    }
    if (result == 0 && (answer.type != wire::Type::answer || answer.status != wire::Status::ok)) {
        result = -EPROTO;
    }
    if (result != 0) {
        close_fd(handle);
        return result == -ECONNRESET || result == -EPIPE ? -ECONNREFUSED : result;
    }
    handle->ready = true;
    return 0;
}

PLATFORM_API int mortox_internal_send(mortox_t *handle, const wire::Message *message, uint32_t *number) {
    wire::Message numbered = *message;
    numbered.request = *number = next_request(handle);
    uint8_t packet[wire::packet_max_bytes];
    const size_t bytes = wire::encode(numbered, packet);
    if (bytes == 0) {
        set_error(handle, "the request is larger than the settings store takes");
        return -EMSGSIZE;
    }
    ssize_t sent = 0;
    do {
        sent = send(handle->fd, packet, bytes, MSG_DONTWAIT | MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    if (sent < 0) {
        const int error = errno;
        set_error(handle, "cannot send to the settings store: %s", strerror(error));
        return -error;
    }
    return 0;
}

PLATFORM_API int mortox_internal_receive(mortox_t *handle, wire::Message *message) {
    ssize_t bytes = 0;
    // ECONNRESET comes once, before what the store had sent is read; then comes that, and then the end.
    do {
        bytes = recv(handle->fd, handle->packet, sizeof handle->packet, MSG_DONTWAIT);
    } while (bytes < 0 && (errno == EINTR || errno == ECONNRESET));
    if (bytes < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
        return 0;
    }
    if (bytes <= 0) {
        set_error(handle, "the settings store has closed the connection");
        return -1;
    }
    const char *why = wire::decode(handle->packet, static_cast<size_t>(bytes), message);
    if (why != nullptr) {
        set_error(handle, "the settings store sent something else than an answer: %s", why);
        return -1;
    }
    return 1;
}

PLATFORM_API void mortox_internal_disconnect(mortox_t *handle) {
    if (handle->hooks != nullptr) {
        handle->hooks->lost(handle->owner); // a loop has to let go of a descriptor before it is closed
    }
    close_fd(handle);
}
