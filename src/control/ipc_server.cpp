#include "control/ipc_server.h"

#include "control/av_dispatch.h"
#include "libav_cmd.h"
#include "libvuto_util.h"

#include <ev.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

int32_t ipc_client_count;

namespace {

constexpr char server_name[] = "vuto_IPCsock";
constexpr socklen_t address_bytes = 110;
constexpr int backlog = 5;
constexpr int32_t clients_max = 10;
constexpr size_t buffer_bytes = 512;

static_assert(sizeof(sockaddr_un) == address_bytes, "the name includes every byte of the path");

/* The client left, or is sent away. */
void end_client(struct ev_loop *loop, ev_io *watcher) {
    const int fd = watcher->fd;
    ev_io_stop(loop, watcher);
    close(fd);
    free(watcher);
    --ipc_client_count;
    log_warning("peer %d might closing,now %d client connected\n", fd, ipc_client_count);
}

/* Runs the complete commands among `*fill` bytes and moves the rest to the front. */
void run_commands(int fd, uint8_t *buffer, size_t *fill) {
    const auto length = static_cast<int32_t>(*fill);
    int32_t consumed = av_cmd_parse(fd, buffer, length, av_cmd_dispatch);
    // A library that counts wrongly must not cost memory that is not the buffer's.
    if (consumed < 0) {
        consumed = 0;
    } else if (consumed > length) {
        consumed = length;
    }
    *fill = static_cast<size_t>(length - consumed);
    memmove(buffer, buffer + consumed, *fill);
}

} // namespace

int32_t ipc_server_create(void) {
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    if (fd < 0) {
        log_err("create ipc server error: %d\n", fd);
        return -1;
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path + 1, server_name, strlen(server_name));
    // When the following fails the socket stays open: without it the control loop does not run at all.
    if (bind(fd, reinterpret_cast<const sockaddr *>(&address), address_bytes) == -1) {
        log_err("bind ipc server error\n");
        return -1;
    }
    if (listen(fd, backlog) < 0) {
        log_err("listen ipc server error\n");
        return -1;
    }
    return fd;
}

void ipc_accept_handle(struct ev_loop *loop, ev_io *watcher, int revents) {
    if ((revents & EV_ERROR) != 0) {
        log_err("error event in accept\n");
        return;
    }
    if (ipc_client_count >= clients_max) {
        log_err("too many ipc client to track %d.\n", ipc_client_count);
        return;
    }
    const int fd = accept(watcher->fd, nullptr, nullptr);
    if (fd < 0) {
        log_err("accept error\n");
        return;
    }
    auto *client = static_cast<ev_io *>(malloc(sizeof(ev_io)));
    if (client == nullptr) {
        log_err("%s(), %d: malloc error\n", "ipc_accept_handle", 1334);
        close(fd);
        return;
    }
    ++ipc_client_count;
    log_info("client %d connected,total %d clients.\n", fd, ipc_client_count);
    ev_io_init(client, ipc_read_handle, fd, EV_READ);
    ev_io_start(loop, client);
}

void ipc_read_handle(struct ev_loop *loop, ev_io *watcher, int revents) {
    if ((revents & EV_ERROR) != 0) {
        log_debug("error event in read");
        return;
    }
    uint8_t buffer[buffer_bytes] = {};
    size_t fill = 0;
    for (;;) {
        const size_t room = sizeof buffer - fill;
        const ssize_t count = recv(watcher->fd, buffer + fill, room, MSG_DONTWAIT);
        if (room == 0 || count == 0) { // asked for no bytes, some systems say 0 and some EAGAIN
            end_client(loop, watcher);
            return;
        }
        if (count < 0) {
            return;
        }
        fill += static_cast<size_t>(count);
        run_commands(watcher->fd, buffer, &fill);
    }
}
