// Stand-ins for the daemon's sockets. Each is one end of a real pair, so that the real loop watches it and
// real bytes travel; only who connects is scripted, because the daemon's name is one for the whole machine.

#include "script/script.h"

#include <sys/socket.h>
#include <unistd.h>

using script::current;
using script::format;

extern "C" {
int __real_close(int fd);
ssize_t __real_recv(int fd, void *buffer, size_t size, int flags);
}

namespace {

/* A pair, both ends remembered. */
void make_pair(int *one, int *other) {
    int ends[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) {
        throw std::runtime_error("no sockets");
    }
    *one = ends[0];
    *other = ends[1];
    current().sockets.insert({ends[0], ends[1]});
}

} // namespace

namespace script {

Script::~Script() {
    for (const int fd : sockets) {
        __real_close(fd);
    }
    close_files();
}

int connect() {
    int server = -1;
    int client = -1;
    make_pair(&server, &client);
    current().connecting.push_back(server);
    (void)!::write(current().listener_peer, "!", 1);
    return client;
}

void disconnect(int fd) {
    current().sockets.erase(fd);
    __real_close(fd);
}

} // namespace script

extern "C" {

int __wrap_socket(int domain, int type, int protocol) {
    script::Script &script = current();
    script.write(format("socket(%d, %d, %d)", domain, type, protocol));
    if (script.socket_result < 0) {
        return script.socket_result;
    }
    make_pair(&script.listener, &script.listener_peer);
    return script.listener;
}

int __wrap_bind(int fd, const sockaddr *address, socklen_t length) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(address);
    current().bound_address.assign(bytes, bytes + length);
    current().write(format("bind(%s, %u)", fd == current().listener ? "listener" : "?", length));
    return current().bind_result;
}

int __wrap_listen(int fd, int backlog) {
    current().write(format("listen(%s, %d)", fd == current().listener ? "listener" : "?", backlog));
    return current().listen_result;
}

int __wrap_accept(int fd, sockaddr *address, socklen_t *length) {
    script::Script &script = current();
    script.write(format("accept(%s, %s, %s)", fd == script.listener ? "listener" : "?",
                        address == nullptr ? "null" : "?", length == nullptr ? "null" : "?"));
    char taken = 0;
    if (script.accept_fails || script.connecting.empty() || __real_recv(fd, &taken, 1, MSG_DONTWAIT) != 1) {
        return -1;
    }
    const int server = script.connecting.front();
    script.connecting.erase(script.connecting.begin());
    return server;
}

ssize_t __wrap_recv(int fd, void *buffer, size_t size, int flags) {
    current().write(format("recv(%d, %zu, %s)", fd, size, flags == MSG_DONTWAIT ? "MSG_DONTWAIT" : "?"));
    return __real_recv(fd, buffer, size, flags);
}

int __wrap_close(int fd) {
    if (script::running() && current().sockets.erase(fd) > 0) {
        current().write(fd == current().listener ? "close(listener)" : format("close(%d)", fd));
    }
    script::card_file_closes(fd);
    return __real_close(fd);
}

} // extern "C"
